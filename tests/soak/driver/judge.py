"""Decides whether a soak failed, and computes the figures for it.

Every sample is taken at rest: no commands run, Java has collected its garbage, and the C library has
returned free memory. The private memory of a process is then what it keeps. Java's heap has a fixed
size and is touched at the start, so its contents have a figure of their own.

The medians of a figure in the first and the last third of the time after the warm-up are compared. A
median hardly moves by short peaks, such as memory of the JVM's compilers or the blocks that threads
keep for their next response. It does move by a step or a slope. For steady growth there is a second
figure: the slope that fits best (Theil-Sen: the median of the slopes between samples), times the
duration. The soak fails if either one is above the limit. For threads and descriptors, the lowest
counts of the first third and of the last tenth are compared, so short-lived ones do not count.
"""
import statistics

MIB = 2**20
MEMORY = "private_dirty"
MEMORY_LIMIT = MIB
THIRDS, TENTHS = 3, 10
LEAST_SAMPLES = 4
MOST_POINTS = 240


def _after(rows, name, warm_up):
    return [row for row in rows if row["process"] == name and row["seconds"] >= warm_up]


def _part(rows, share, last=False):
    """The first or the last of `share` equal parts; at least one row."""
    size = max(1, len(rows) // share)
    return rows[-size:] if last else rows[:size]


def can_judge(rows, name, warm_up):
    return len(_after(rows, name, warm_up)) >= LEAST_SAMPLES


def base(rows, name, column, warm_up):
    """The median right after the warm-up; of all rows if the soak is shorter."""
    chosen = _part(_after(rows, name, warm_up), THIRDS) or _after(rows, name, 0)
    return statistics.median([row[column] for row in chosen] or [0])


def _slope(points):
    points = points[::max(1, len(points) // MOST_POINTS)]
    slopes = [(y2 - y1) / (x2 - x1) for number, (x1, y1) in enumerate(points)
              for x2, y2 in points[number + 1:] if x2 > x1]
    return statistics.median(slopes) if slopes else 0.0


def figure(rows, name, column, warm_up):
    """Medians after the warm-up and at the end, the growth between them, and the fitted growth."""
    after = _after(rows, name, warm_up)
    first = statistics.median(row[column] for row in _part(after, THIRDS))
    last = statistics.median(row[column] for row in _part(after, THIRDS, last=True))
    slope = _slope([(row["seconds"], row[column]) for row in after])
    return {"first": first, "last": last, "growth": last - first,
            "fitted": slope * (after[-1]["seconds"] - after[0]["seconds"])}


def count(rows, name, column, warm_up):
    after = _after(rows, name, warm_up)
    first = min(row[column] for row in _part(after, THIRDS))
    last = min(row[column] for row in _part(after, TENTHS, last=True))
    return {"first": first, "last": last, "growth": last - first}


def growth(rows, names, warm_up):
    """{process: {column: figures}} of a soak that is longer than its warm-up."""
    return {name: {**{column: figure(rows, name, column, warm_up)
                      for column in (MEMORY, "java_heap", "malloc_used", "outside_jvm_malloc",
                                     "jvm_committed", "working_rss")},
                   **{column: count(rows, name, column, warm_up)
                      for column in ("threads", "descriptors")}}
            for name in names}


def failures(grown, limit=MEMORY_LIMIT):
    """One text for each figure that grew too much."""
    found = []
    for name, figures in grown.items():
        for column, words in ((MEMORY, "private memory"), ("java_heap", "the contents of Java's heap")):
            by = max(figures[column]["growth"], figures[column]["fitted"])
            if by > limit:
                found.append(f"{name}: {words} grew by {by / MIB:.2f} MiB, more than {limit / MIB:g} MiB")
        for column in ("threads", "descriptors"):
            if figures[column]["growth"] > 0:
                found.append(f"{name}: {column} grew from {figures[column]['first']} to "
                             f"{figures[column]['last']}")
    return found
