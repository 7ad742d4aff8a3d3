#!/usr/bin/env python3
"""Runs the built soak and judges it. scripts/soak builds it and calls this."""
import argparse
import csv
import os
import pathlib
import shutil
import sys
import time

import document
import judge
import plot
import processes
import sampling

sys.path.insert(1, str(pathlib.Path(__file__).resolve().parents[3] / "bench/driver"))
import machine  # noqa: E402  what the benchmarks say of the machine as well

USUAL_WARM_UP = 300
PROGRESS_SECONDS = 60
PROGRAMS = ("host", "java")


def parse():
    parser = argparse.ArgumentParser(prog="scripts/soak", description=__doc__.split(".")[0] + ".")
    length = parser.add_mutually_exclusive_group()
    length.add_argument("--minutes", type=float, default=60, help="duration; default 60")
    length.add_argument("--seconds", type=float)
    parser.add_argument("--warm-up", type=float, default=USUAL_WARM_UP, metavar="SECONDS",
                        help="time before growth counts; default 300. A shorter soak is not judged "
                        "by growth")
    parser.add_argument("--interval", type=float, default=5, metavar="SECONDS", help="between samples")
    parser.add_argument("--write-docs", action="store_true", help="also writes docs/soak.md and docs/soak.svg")
    parser.add_argument("--build", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--output", help=argparse.SUPPRESS)
    # Plants a fault that the soak must detect, to test it: any of memory, thread, descriptor, answer.
    parser.add_argument("--plant", default="none", help=argparse.SUPPRESS)
    options = parser.parse_args()
    options.length = options.seconds if options.seconds is not None else options.minutes * 60
    return options


class Run:
    """One soak: its samples and failures."""

    def __init__(self, options, java_home):
        self._options = options
        self.output = pathlib.Path(options.output or pathlib.Path(options.build).parent / "soak").resolve()
        shutil.rmtree(self.output, ignore_errors=True)
        self.output.mkdir(parents=True)
        self.rows, self.programs, self.failures = [], {}, []
        self._jvm_first, self._jvm_last = {}, {}
        self._java_home = java_home
        self._begin = time.monotonic()
        self._next_line = PROGRESS_SECONDS

    def seconds(self):
        return time.monotonic() - self._begin

    def run(self):
        soak = processes.Soak(self._options.build, self.output / "processes", self._java_home,
                              self._options.plant)
        try:
            soak.start()
            self._begin = time.monotonic()
            with open(self.output / "samples.csv", "w", encoding="utf-8") as out:
                self._sample_until_the_end(soak, csv.DictWriter(out, sampling.COLUMNS), out)
            self.failures += [f"{name} ended with {code}" for name, code in soak.end().items()]
        except processes.Ended as ended:
            self.failures.append(str(ended))
        finally:
            soak.kill()

    def _sample_until_the_end(self, soak, table, out):
        table.writeheader()
        due, least = 0.0, judge.LEAST_SAMPLES * len(processes.NAMES)
        while due < self._options.length or len(self.rows) < least:
            due = min(due + self._options.interval, max(self._options.length, due))
            time.sleep(max(0.0, due - self.seconds()))
            self._sample(soak, table)
            out.flush()
            self._progress()
            due = max(due, self.seconds())

    def _sample(self, soak, table):
        working = {name: sampling.resident(process.pid) for name, process in soak.processes.items()}
        figures, self.programs = soak.quiesce()
        now = self.seconds()
        for name in processes.NAMES:
            row = sampling.take(now, name, soak.processes[name].pid, working[name], figures[name],
                                self.programs.get(name, {}))
            self.rows.append(row)
            table.writerow(row)
        self._jvm_last = {name: figures[name].get("jvm", {}) for name in processes.NAMES}
        if now >= self._options.warm_up and not self._jvm_first:
            self._jvm_first = self._jvm_last
        soak.resume()

    def _jvm_growth(self):
        """{process: {category: KiB}}: changes of the JVMs' committed memory since the warm-up."""
        return {name: {category: last - first.get(category, [0])[0]
                       for category, (last, _) in self._jvm_last[name].items()
                       if last != first.get(category, [0])[0]}
                for name, first in self._jvm_first.items()}

    def _progress(self):
        if self.seconds() < self._next_line:
            return
        self._next_line += PROGRESS_SECONDS
        latest = self.rows[-len(processes.NAMES):]
        memory = ", ".join(f"{row['process']} {row[judge.MEMORY] / judge.MIB:.1f} MiB "
                           f"{row['threads']} threads {row['descriptors']} descriptors" for row in latest)
        print(f"{self.seconds() / 60:3.0f} min  {sum(row['commands'] for row in latest):,} commands, "
              f"{sum(row['errors'] for row in latest):,} expected errors, "
              f"{sum(row['wrong'] for row in latest)} wrong; {memory}", flush=True)

    def outcome(self):
        options, grown = self._options, {}
        lasted = self.rows[-1]["seconds"] if self.rows else 0
        for name in PROGRAMS:
            done = self.programs.get(name, {"wrong": 0, "texts": []})
            if done["wrong"]:
                self.failures.append(f"{name}: {done['wrong']} wrong answers or unexpected errors, of "
                                     f"which the first: {'; '.join(done['texts'][:3])}")
        if all(judge.can_judge(self.rows, name, options.warm_up) for name in processes.NAMES):
            grown = judge.growth(self.rows, processes.NAMES, options.warm_up)
            self.failures += judge.failures(grown)
        return {
            "seconds": lasted, "warm_up": options.warm_up, "samples": len(self.rows) // len(processes.NAMES),
            "machine": f"{machine.processor()}, {os.cpu_count()} processors, {machine.memory_gib()} GiB; "
                       f"{machine.system()}",
            "jdk": machine.jdk_name(self._java_home), "java_options": processes.JAVA_OPTIONS,
            "programs": {name: {key: done[key] for key in ("commands", "errors", "wrong", "texts")}
                         for name, done in self.programs.items()},
            "growth": grown, "jvm_growth_kib": self._jvm_growth(), "failures": self.failures}


def main():
    options = parse()
    java_home = os.environ.get("JAVA_HOME")
    if not java_home:
        sys.exit("Set JAVA_HOME.")
    run = Run(options, os.path.realpath(java_home))
    run.run()
    outcome = run.outcome()
    document.write_json(run.output / "results.json", outcome)
    plot.write(run.output / "soak.svg", run.rows, processes.NAMES, options.warm_up)
    print(document.table(outcome))
    print(f"Written: {run.output}/samples.csv, results.json, soak.svg")
    if options.write_docs:
        if not outcome["growth"]:
            sys.exit("Too short for docs/soak.md, which tells of growth after the warm-up.")
        docs = pathlib.Path(options.build).resolve().parent.parent / "docs"
        shutil.copyfile(run.output / "soak.svg", docs / "soak.svg")
        document.write(docs / "soak.md", "soak.svg", outcome)
        print("Written: docs/soak.md, docs/soak.svg")
    sys.exit(1 if outcome["failures"] else 0)


if __name__ == "__main__":
    main()
