"""Writes the printed table of a soak, results.json, and docs/soak.md."""
import datetime
import json
import os

import judge

_FIGURES = (
    (judge.MEMORY, "Private memory at rest", True),
    ("java_heap", "Contents of Java's heap", True),
    ("malloc_used", "Handed out by malloc", False),
    ("outside_jvm_malloc", "of that, not by the JVM itself", False),
    ("jvm_committed", "Memory of the JVM itself (NMT, committed)", False),
    ("working_rss", "Resident while it works", False),
)


def _mib(value):
    return f"{value / judge.MIB:.2f}"


def _signed(value):
    return f"{value / judge.MIB:+.2f}"


def rows_of(grown):
    """Rows of texts: process, figure, at the beginning, at the end, growth, fitted growth, limit."""
    for name, figures in grown.items():
        for column, words, judged in _FIGURES:
            figure = figures[column]
            if figure["first"] or figure["last"]:
                yield (name, f"{words}, MiB", _mib(figure["first"]), _mib(figure["last"]),
                       _signed(figure["growth"]), _signed(figure["fitted"]),
                       f"{judge.MEMORY_LIMIT / judge.MIB:g}" if judged else "")
        for column in ("threads", "descriptors"):
            figure = figures[column]
            yield (name, column.capitalize(), str(figure["first"]), str(figure["last"]),
                   f"{figure['growth']:+d}", "", "0")


def table(outcome):
    lines = []
    if outcome["growth"]:
        head = ("process", "figure", f"at {outcome['warm_up'] / 60:g} min", "at the end", "growth",
                "fitted", "limit")
        lines.append("{:11} {:48} {:>10} {:>10} {:>8} {:>8} {:>6}".format(*head))
        lines += ["{:11} {:48} {:>10} {:>10} {:>8} {:>8} {:>6}".format(*row)
                  for row in rows_of(outcome["growth"])]
        lines += [f"{name}: JVM's own memory by category, first sample after the warm-up to last, KiB: "
                  + (", ".join(f"{category} {kib:+d}" for category, kib in categories.items()) or "no change")
                  for name, categories in outcome["jvm_growth_kib"].items()
                  if outcome["growth"][name]["jvm_committed"]["last"]]
    else:
        lines.append("Growth is not judged: the soak was shorter than its warm-up.")
    for program, done in outcome["programs"].items():
        for what in ("commands", "errors"):
            total = sum(done[what].values())
            kinds = ", ".join(f"{kind} {count}" for kind, count in done[what].items())
            lines.append(f"{program}: {total} {'expected errors' if what == 'errors' else what}: {kinds}")
        lines.append(f"{program}: {done['wrong']} wrong answers or unexpected errors")
    lines += [f"FAILED: {failure}" for failure in outcome["failures"]]
    lines.append("RESULT: " + ("failed" if outcome["failures"] else "passed"))
    return "\n".join(lines)


def write_json(path, outcome):
    with open(path, "w", encoding="utf-8") as out:
        json.dump(outcome, out, indent=1)
        out.write("\n")


def _kinds(outcome):
    lines = ["| Program | | Kind | Number |", "| --- | --- | --- | ---: |"]
    for program, done in outcome["programs"].items():
        for what, word in (("commands", "command"), ("errors", "expected error")):
            lines += [f"| {program} | {word} | {kind} | {count:,} |" for kind, count in done[what].items()]
    return lines


def write(path, plot, outcome):
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "reading.md"),
              encoding="utf-8") as text:
        reading = text.read().rstrip("\n").replace("PLOT", plot)
    commands = sum(sum(done["commands"].values()) for done in outcome["programs"].values())
    errors = sum(sum(done["errors"].values()) for done in outcome["programs"].values())
    wrong = sum(done["wrong"] for done in outcome["programs"].values())
    lines = [
        reading, "", "## The run", "",
        f"- Date: {datetime.date.today().isoformat()}; {outcome['seconds'] / 60:.0f} minutes, of which "
        f"{outcome['warm_up'] / 60:g} to warm up; {outcome['samples']} samples of each process.",
        f"- Machine: {outcome['machine']}.",
        f"- JDK: {outcome['jdk']}; `JAVA_TOOL_OPTIONS={outcome['java_options']}`.",
        f"- Commands: {commands:,}; expected errors: {errors:,}; wrong answers and unexpected errors: "
        f"{wrong}.",
        f"- Result: {'failed: ' + '; '.join(outcome['failures']) if outcome['failures'] else 'passed'}.",
        "", "## Figures", "",
        "| Process | Figure | After the warm-up | At the end | Growth | Fitted growth | Limit |",
        "| --- | --- | ---: | ---: | ---: | ---: | ---: |",
        *("| " + " | ".join(row) + " |" for row in rows_of(outcome["growth"])),
        "", "## Commands and errors", "", *_kinds(outcome)]
    with open(path, "w", encoding="utf-8") as out:
        out.write("\n".join(lines) + "\n")
