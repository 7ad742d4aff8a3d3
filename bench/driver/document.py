"""docs/benchmarks.md."""
import datetime
import os

import aims
import machine

_TYPED_WORKS = {
    "length": "`String.length()` of an object",
    "max": "`Math.max(3, 4)`",
    "concat": "`String.concat` with a C++ text, the result as a C++ text",
    "new": "`new ArrayList()`, kept and released",
    "in": "1 MiB as `double[]` argument",
    "out": "1 MiB as `double[]` result",
}
_TITLES = {
    "attached": "C++ to Java, attached thread, Java answers with the array that it was given",
    "attached, clone": "C++ to Java, attached thread, Java answers with a clone",
    "attach and detach": "C++ to Java, thread attached and detached for each call",
    "2 threads": "C++ to Java, two attached threads at once, each on its own processor",
    "8 threads": "C++ to Java, 8 attached threads at once",
    "64 threads": "C++ to Java, 64 attached threads at once",
    "C++ to Java, Host::Call": "C++ to Java, `Host::Call` and JNI by hand, CPU time of the thread",
    "Java to C++, Ferrolink.call": "Java to C++, `Ferrolink.call` and JNI by hand, CPU time of the thread",
    **{f"typed, {work}": f"Typed call from C++: {what}, and JNI by hand, CPU time of the thread"
       for work, what in _TYPED_WORKS.items()},
    **{f"typed, {work}, peers": f"Typed call: {what}, by name from C++ and by JPype from Python"
       for work, what in _TYPED_WORKS.items()},
    "Java to C++": "Java to C++ in process: `sendCommand` and `readResponse`",
    "Java to C++ to Java": "Java to C++ to Java: round trip through the callback",
    "C++ to Java, peers": "C++ to Java, against other ways across (the peers' own languages)",
    "Java to C++, peers": "Java to C++, against foreign-function interfaces (a C function)",
    "start-up, bare receiver": "Start-up: from process start to the first answer, bare receiver",
    "start-up, archive": "Start-up: from process start to the first answer, the archive's receiver",
    "library load": "Opening the library in a C++ program",
}


def duration(nanoseconds):
    for limit, unit in ((1e3, "ns"), (1e6, "µs"), (1e9, "ms")):
        if nanoseconds < limit:
            value = nanoseconds / (limit / 1e3)
            return f"{value:.{0 if value >= 100 else 1 if value >= 10 else 2}f} {unit}"
    return f"{nanoseconds / 1e9:.2f} s"


def size_text(size):
    if size == 0:
        return "–"
    return f"{size} B" if size < 1024 else f"{size >> 10} KiB" if size < 2**20 else f"{size >> 20} MiB"


def _ratio(value):
    return f"{value:.3f}" if value < 2 else f"{value:.2f}" if value < 10 else f"{value:.0f}"


def _table(rows):
    lines = ["| Size | | Time | Ratio to | Median ratio | Quartiles | Aim |",
             "| ---: | --- | ---: | --- | ---: | ---: | --- |"]
    for row in rows:
        ratio = row.ratio
        is_baseline = row.name == row.baseline
        lines.append("| " + " | ".join([
            size_text(row.size), f"**{row.name}**" if row.name == "ours" else row.name,
            duration(row.nanoseconds.median), "" if is_baseline else row.baseline,
            "1" if is_baseline else _ratio(ratio.median),
            "" if is_baseline else f"{_ratio(ratio.first)} – {_ratio(ratio.third)}",
            aims.verdict(row)]) + " |")
    return lines


def _wake_calls(rows):
    return [f"| Wake calls per 1,000 commands of {size_text(row.size)}, {row.unit} at once | "
            f"{row.wake_calls:.1f} (aim: at most {aims.WAKE_CALLS}"
            + (") |" if row.wake_calls <= aims.WAKE_CALLS else ", missed) |")
            for row in rows if row.wake_calls is not None and row.size == 64]


def _facts(rows, facts, instructions, crowd, load_row):
    if instructions is None:
        counted = "not counted: callgrind did not run"
    else:
        counted = (f"{instructions:.0f} (aim: at most {aims.INSTRUCTIONS}"
                   + (")" if instructions <= aims.INSTRUCTIONS else ", missed)"))
    milliseconds = load_row.nanoseconds.median / 1e6
    load = (f"{milliseconds:.2f} ms (aim: at most {aims.LOAD_MILLISECONDS}"
            + (")" if milliseconds <= aims.LOAD_MILLISECONDS else ", missed)"))
    return ["| | |", "| --- | --- |",
            f"| Instructions per attached command of 64 B and its answer | {counted} |",
            *_wake_calls(rows),
            *[f"| {name} | {figure} |" for name, figure in crowd],
            f"| Opening the library | {load} |",
            f"| Relocations | {facts['relocations']}, of them relative "
            f"{facts['relative relocations']} |",
            f"| File, with debug information | {facts['file'] / 1024:.0f} KiB |",
            f"| Mapped from the file | {facts['loaded'] / 1024:.0f} KiB |",
            f"| Growth of resident memory when opened | {facts['resident'] / 1024:.0f} KiB |"]


def _conditions(java_home, left_out, seconds, load):
    other = machine.jdk_with_foreign_functions()
    lines = [
        f"- Date: {datetime.date.today().isoformat()}; the run took {seconds:.0f} s.",
        f"- Machine: {machine.processor()}, {os.cpu_count()} processors, "
        f"{machine.memory_gib()} GiB; {machine.system()}. Load when it began: {load:.2f}.",
        f"- JDK: {machine.jdk_name(java_home)}, heap of 1 GiB touched before"
        + (f"; foreign functions on {machine.jdk_name(other)}" if other else "") + ".",
        f"- Compiler: {machine.compiler()}, the release preset.",
    ]
    lines += [f"- Left out: {name}, since {reason}." for name, reason in left_out]
    return lines


def _title(unit):
    if unit.startswith("network"):
        return unit[0].upper() + unit[1:]
    return _TITLES.get(
        unit, "Java to C++, against the JDK's foreign-function interface" + unit.split("peers")[-1])


def write(path, plot, rows, facts, instructions, crowd, java_home, left_out, seconds, load):
    reading = os.path.join(os.path.dirname(os.path.abspath(__file__)), "reading.md")
    with open(reading, encoding="utf-8") as text:
        lines = [text.read().rstrip("\n").replace("PLOT", plot), ""]
    lines += ["## The run", "", *_conditions(java_home, left_out, seconds, load), ""]
    lines += ["## Figures of the library", ""]
    load_row = next(row for row in rows if row.unit == "library load" and row.name == "ours")
    lines += [*_facts(rows, facts, instructions, crowd, load_row), ""]
    for unit in dict.fromkeys(row.unit for row in rows):
        title = _title(unit)
        lines += [f"## {title}", "", *_table([row for row in rows if row.unit == unit]), ""]
    with open(path, "w", encoding="utf-8") as out:
        out.write("\n".join(lines).rstrip("\n") + "\n")
