"""docs/reliability.md."""
import os

import settings

_READING = os.path.join(settings.HERE, "reading.md")


def duration(seconds):
    """Two digits."""
    for limit, unit, size in ((1, "ms", 1e-3), (100, "s", 1), (float("inf"), "min", 60)):
        if seconds < limit:
            value = seconds / size
            return f"{value:.1f} {unit}" if value < 9.95 else f"{value:.0f} {unit}"
    raise AssertionError


def count(number):
    return f"{number:,}" if isinstance(number, int) else str(number)


def _conditions(run, rows):
    lines = [f"- Date: {', '.join(sorted({row.date for row in rows}))}; commit: "
             f"{', '.join(dict.fromkeys(row.commit for row in rows))}."]
    if "seconds" in run:
        lines.append(f"- The run took {duration(run['seconds'])}, after the builds.")
    lines += [f"- Machine: {run['machine']}. Load when it began: {run['load']:.2f}.",
              f"- JDKs: {'; '.join(run['jdks'])}. Compiler: {run['compiler']}.",
              f"- {count(len(rows))} rows, {count(sum(not row.passed for row in rows))} of them failed."]
    return lines


def _figures(row):
    return ", ".join(f"{name.replace('_', ' ')} {count(value)}" for name, value in row.figures.items())


def _outcome(row):
    return row.outcome if row.passed else f"**{row.outcome}**"


def _table(rows):
    lines = ["| What | Tree | JDK | Times | Outcome | Figures | Took |",
             "| --- | --- | --- | ---: | --- | --- | ---: |"]
    for row in rows:
        cells = [row.what, row.tree, row.jdk, count(row.times), _outcome(row), _figures(row),
                 duration(row.seconds)]
        lines.append("| " + " | ".join(cell.replace("|", "\\|") for cell in cells) + " |")
    return lines


def write(path, run, rows):
    with open(_READING, encoding="utf-8") as text:
        lines = [text.read().rstrip("\n"), "", "## The run", "", *_conditions(run, rows), ""]
    for group in dict.fromkeys(row.group for row in rows):
        lines += [f"## {group}", "", *_table([row for row in rows if row.group == group]), ""]
    with open(path, "w", encoding="utf-8") as out:
        out.write("\n".join(lines).rstrip("\n") + "\n")
