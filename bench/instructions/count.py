#!/usr/bin/env python3
"""Counts the instructions of one attached command of 64 bytes and its answer, by callgrind.

The program makes its calls against the fake JVM of the tests. Callgrind collects only inside
BenchMeasuredCalls. For each pair of caller and callee it records the inclusive cost of the callee. The
count is the cost of all callees of BenchMeasuredCalls, minus the cost of all calls into the fake JVM's
library from outside. The rest is the library's own code and its calls of the C and C++ libraries,
without the fake and its calls.

With --recorded the count is compared with the compiler's figure in that file. A difference beyond the
tolerance fails: a higher count is a regression, a lower one must be recorded. --record records it.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile

CALLS = 1000
MEASURED = "BenchMeasuredCalls"


class Profile:
    """The calls of a callgrind file: (caller's library, caller, library, function, cost)."""

    def __init__(self, path):
        self.calls = []
        self.self_costs = {}
        self._names = {}
        self._read(path)

    def _name(self, kind, text):
        match = re.fullmatch(r"\((\d+)\)(?: (.*))?", text)
        number, name = match.groups()
        if name is not None:
            self._names[kind, number] = name
        return self._names[kind, number]

    def _read(self, path):
        library = function = callee = callee_library = None
        expects_cost = False
        with open(path, encoding="utf-8") as lines:
            for line in lines:
                line = line.rstrip("\n")
                key, _, value = line.partition("=")
                if key == "ob":
                    library = self._name("ob", value)
                elif key == "fn":
                    function = self._name("fn", value)
                elif key in ("fl", "fi", "fe", "cfi", "cfl"):
                    self._name("fl", value)
                elif key == "cob":
                    callee_library = self._name("ob", value)
                elif key == "cfn":
                    callee = self._name("fn", value)
                elif key == "calls":
                    expects_cost = True
                elif re.match(r"[+\-*\d]", line):
                    cost = int(line.split()[1])
                    if expects_cost:
                        self.calls.append(
                            (library, function, callee_library or library, callee, cost))
                        callee_library = None
                        expects_cost = False
                    else:
                        own = library, function
                        self.self_costs[own] = self.self_costs.get(own, 0) + cost


def profile(program, library, jvm, calls):
    with tempfile.TemporaryDirectory() as directory:
        output = os.path.join(directory, "callgrind.out")
        result = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--toggle-collect={MEASURED}",
             f"--callgrind-out-file={output}", program, library, jvm, str(calls)],
            cwd=directory, capture_output=True, text=True, check=False)
        if result.returncode != 0 or not os.path.exists(output):
            sys.exit(f"callgrind failed:\n{result.stdout}{result.stderr}")
        return Profile(output)


def total(found, jvm):
    fake = os.path.realpath(jvm)
    counted = 0
    for caller_library, caller, callee_library, _, cost in found.calls:
        if caller == MEASURED:
            counted += cost
        elif callee_library == fake and caller_library != fake:
            counted -= cost
    return counted


def details(found, library, jvm, calls):
    """Prints the costliest of the library's own functions and of their calls into other libraries."""
    ours, fake = os.path.realpath(library), os.path.realpath(jvm)
    lines = [(cost, f"{name} itself") for (where, name), cost in found.self_costs.items()
             if where == ours]
    lines += [(cost, f"{caller} -> {callee} ({os.path.basename(where)})")
              for origin, caller, where, callee, cost in found.calls
              if origin == ours and where not in (ours, fake)]
    for cost, text in sorted(lines, reverse=True)[:40]:
        print(f"{cost / calls:9.1f}  {text}")


def read_figures(path):
    with open(path, encoding="utf-8") as lines:
        return dict(line.split() for line in lines if not line.startswith("#") and line.strip())


def record(path, compiler, count):
    with open(path, encoding="utf-8") as lines:
        comments = [line for line in lines if line.startswith("#")]
    figures = read_figures(path)
    figures[compiler] = f"{count:.0f}"
    with open(path, "w", encoding="utf-8") as out:
        out.writelines(comments)
        out.writelines(f"{name} {figure}\n" for name, figure in sorted(figures.items()))


def judge(count, figure, tolerance):
    """0 if the count is within the tolerance of the recorded one."""
    difference = count / figure - 1
    print(f"recorded: {figure:.0f}; difference: {difference:+.1%}, allowed: {tolerance:.0%}")
    if abs(difference) <= tolerance:
        return 0
    print("More instructions than recorded." if difference > 0 else
          "Fewer instructions than recorded: record the new figure with --record.")
    return 1


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--program", required=True)
    parser.add_argument("--library", required=True, help="libFerrolinkJvmRuntimeNative.so")
    parser.add_argument("--jvm", required=True, help="the fake JVM's library")
    parser.add_argument("--recorded", help="the file of recorded figures")
    parser.add_argument("--compiler", default="GNU", help="whose figure it is")
    parser.add_argument("--tolerance", type=float, default=0.03)
    parser.add_argument("--record", action="store_true", help="write the count to the file")
    parser.add_argument("--details", action="store_true", help="show where they are spent")
    options = parser.parse_args()
    found = profile(*map(os.path.abspath, (options.program, options.library, options.jvm)), CALLS)
    count = total(found, options.jvm) / CALLS
    print(f"= {count:.1f} instructions per command and answer")
    if options.details:
        details(found, options.library, options.jvm, CALLS)
    if options.record:
        record(options.recorded, options.compiler, count)
    elif options.recorded:
        figure = read_figures(options.recorded).get(options.compiler)
        if figure is None:
            sys.exit(f"no figure is recorded for {options.compiler}")
        sys.exit(judge(count, float(figure), options.tolerance))


if __name__ == "__main__":
    main()
