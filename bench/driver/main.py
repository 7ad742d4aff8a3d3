#!/usr/bin/env python3
"""Runs the built benchmarks and writes the tables and the plot. bench/run builds and calls this."""
import argparse
import os
import sys
import tempfile
import time

import crowd
import document
import inprocess
import machine
import network
import plot
import processes
import served
import settings

GROUPS = ("call-java", "call-cpp", "peers", "network", "start-up", "load", "instructions")


class Run:
    """One run: its rows, and the contenders left out."""

    def __init__(self, build, effort, java_home):
        self.build, self.effort, self.java_home = build, effort, java_home
        self.rows, self.left_out = [], []
        self.facts, self.instructions, self.crowd = None, None, None
        self.begin, self.load = time.monotonic(), machine.load()

    def leave_out(self, name, reason):
        print(f"Left out: {name}: {reason}.", flush=True)
        self.left_out.append((name, reason))

    def measure(self, group):
        print(f"{self.seconds():4.0f} s  measuring {group} ...", flush=True)
        common = self.build, self.effort
        if group == "call-java":
            self.rows += inprocess.call_java(*common, self.java_home)
            self.rows += inprocess.host_call(*common, self.java_home)
        elif group == "call-cpp":
            self.rows += inprocess.call_cpp(*common, self.java_home)
        elif group == "peers":
            self.rows += served.peers(*common, self.java_home, self.leave_out)
            self.rows += served.typed_peers(*common, self.java_home, self.leave_out)
            self.rows += inprocess.foreign_function_peers(*common, self.java_home, self.leave_out)
            self.rows += inprocess.jdk_foreign_functions(*common, self.leave_out)
        elif group == "network":
            self.rows += network.rows(*common, self.java_home, self.leave_out)
            with tempfile.TemporaryDirectory() as directory:
                self.crowd = crowd.measure(self.build, self.java_home, self.leave_out, directory)
        elif group == "start-up":
            self.rows += processes.start_up(*common, self.java_home)
        elif group == "load":
            rows, self.facts = processes.load(*common)
            self.rows += rows
        elif group == "instructions":
            self.instructions = processes.instructions(self.build)
            if self.instructions is None:
                self.leave_out("instructions", "callgrind did not run")

    def seconds(self):
        return time.monotonic() - self.begin


def print_rows(run):
    for row in run.rows:
        ratio = row.ratio
        print(f"{row.unit:26} {document.size_text(row.size):>8} {row.name:32} "
              f"{document.duration(row.nanoseconds.median):>9}  {ratio.median:8.3f}  "
              f"[{ratio.first:.3f} .. {ratio.third:.3f}] of {row.baseline}")
    for row in run.rows:
        if row.wake_calls is not None:
            print(f"wake calls per 1,000 commands, {row.unit}, {document.size_text(row.size)}: "
                  f"{row.wake_calls:.1f}")
    if run.crowd is not None:
        for name, figure in crowd.lines(run.crowd):
            print(f"{name}: {figure}")
    if run.facts is not None:
        print(run.facts)
    if run.instructions is not None:
        print(f"instructions: {run.instructions:.1f}")


def write(run, directory):
    table = os.path.join(directory, "benchmarks.md")
    plot.write(os.path.join(directory, "benchmarks.svg"), run.rows)
    document.write(table, "benchmarks.svg", run.rows, run.facts, run.instructions,
                   crowd.lines(run.crowd), run.java_home, run.left_out, run.seconds(), run.load)
    print(f"{run.seconds():4.0f} s  written: {os.path.relpath(table)}, and benchmarks.svg beside it")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="the build directory of the release preset")
    parser.add_argument("--quick", action="store_true", help="few rounds; writes into build/")
    parser.add_argument("--only", choices=GROUPS, help="one group of rows, to standard output")
    options = parser.parse_args()
    java_home = os.environ.get("JAVA_HOME")
    if not java_home:
        sys.exit("Set JAVA_HOME.")
    run = Run(settings.Build(options.build), settings.QUICK if options.quick else settings.Effort(),
              os.path.realpath(java_home))
    for group in GROUPS if options.only is None else [options.only]:
        run.measure(group)
    if options.only is not None:
        print_rows(run)
        return
    root = os.path.dirname(run.build.sources)
    write(run, os.path.join(root, "build" if options.quick else "docs"))


if __name__ == "__main__":
    main()
