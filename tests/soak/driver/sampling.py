"""One sample: figures of the kernel, the C library and the JVM for a process at rest."""
import os
import re
import time

READS, PAUSE_SECONDS = 4, 0.01
COLUMNS = ("seconds", "process", "working_rss", "rss", "anonymous", "private_dirty", "malloc_used", "malloc_free",
           "java_heap", "jvm_committed", "jvm_malloc", "outside_jvm_malloc", "classes", "threads",
           "descriptors", "commands", "errors", "wrong")


def _smaps(pid):
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as lines:
        sizes = dict(re.findall(r"^(\w+):\s+(\d+) kB", lines.read(), re.MULTILINE))
    return {name: int(sizes[key]) << 10 for name, key in
            (("rss", "Rss"), ("anonymous", "Anonymous"), ("private_dirty", "Private_Dirty"))}


def _jvm(figures):
    """The totals of native memory tracking; 0 without a JVM."""
    categories = figures.get("jvm", {})
    return {"jvm_committed": sum(committed for committed, _ in categories.values()) << 10,
            "jvm_malloc": sum(malloc for _, malloc in categories.values()) << 10}


def _fewest(directory):
    """The number of entries; the lowest of several reads, because a server notices only a little later
    that a client has gone."""
    fewest = len(os.listdir(directory))
    for _ in range(READS - 1):
        time.sleep(PAUSE_SECONDS)
        fewest = min(fewest, len(os.listdir(directory)))
    return fewest


def resident(pid):
    """Bytes of resident memory while the process works."""
    return _smaps(pid)["rss"]


def take(seconds, name, pid, working, figures, program):
    """A row of samples.csv. `working` is the resident memory before the pause. `figures` are the
    process's own report. `program` holds the counts of one of the two programs, else it is empty."""
    row = {"seconds": round(seconds, 1), "process": name, "working_rss": working, **_smaps(pid),
           **_jvm(figures)}
    row["malloc_used"] = figures["heap"]["used"]
    row["malloc_free"] = figures["heap"]["free"]
    row["outside_jvm_malloc"] = row["malloc_used"] - row["jvm_malloc"]
    row["java_heap"] = figures.get("javaHeap", 0)
    row["classes"] = figures.get("classes", 0)
    row["threads"] = _fewest(f"/proc/{pid}/task")
    row["descriptors"] = _fewest(f"/proc/{pid}/fd")
    row["commands"] = sum(program.get("commands", {}).values())
    row["errors"] = sum(program.get("errors", {}).values())
    row["wrong"] = program.get("wrong", 0)
    return row
