#!/usr/bin/env python3
"""Runs the proofs of proofs.toml, two at a time, in built trees. scripts/verify builds the trees and
calls this. Writes rows to build/verify/results.json, and those of a full run to docs/reliability.md."""
import argparse
import os
import re
import subprocess
import sys
import time

import settings  # before machine, since it extends the path

import document
import machine
import proofs
import results
import schedule


def commit():
    def git(*arguments):
        return subprocess.run(["git", "-C", settings.ROOT, *arguments], check=True, capture_output=True,
                              text=True).stdout.strip()
    try:
        return git("rev-parse", "--short", "HEAD") + (" with changes" if git("status", "--porcelain") else "")
    except (OSError, subprocess.CalledProcessError):
        return "unknown"


def facts():
    return {"machine": f"{machine.processor()}, {os.cpu_count()} processors, {machine.memory_gib()} GiB; "
                       f"{machine.system()}",
            "jdks": [machine.jdk_name(home) for home in settings.jdks().values()],
            "compiler": machine.compiler(),
            "load": round(machine.load(), 2)}


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--only", metavar="PATTERN", help="runs the proofs whose name, as --list prints it, "
                        "matches; replaces their rows in build/verify/results.json")
    parser.add_argument("--list", action="store_true", help="prints the names and runs nothing")
    parser.add_argument("--builds", action="store_true", help="prints the trees to build, each with its "
                        "targets, and runs nothing")
    parser.add_argument("--quick", action="store_true", help="small counts, to check that the proofs can "
                        "run; writes verify/quick.json in the release tree")
    parser.add_argument("--write-docs", action="store_true", help="with --only: writes docs/reliability.md "
                        "from all rows in build/verify/results.json")
    parser.add_argument("--release", metavar="DIRECTORY", help="the tree to use as build/release")
    return parser.parse_args()


def builds(chosen):
    """Lines of a tree and its targets; no targets means all. scripts/fuzz builds the fuzz targets."""
    targets = {}
    for proof in chosen:
        if proof.kind != "fuzz":
            targets.setdefault(proof.tree, []).append(proof.targets())
    return [" ".join([tree, *([] if None in needed else sorted(set(sum(needed, []))))])
            for tree, needed in targets.items()]


def store(options, rows, seconds):
    if options.quick:
        results.write(os.path.join(settings.tree("release"), settings.QUICK_RESULTS), facts(), rows)
        return
    run = {**facts(), "seconds": round(seconds)}
    if options.only is not None:
        old, stored = results.read(settings.RESULTS)
        run, rows = {**old, **facts()}, results.merged(stored, rows)
    results.write(settings.RESULTS, run, rows)
    if options.write_docs or options.only is None:
        document.write(settings.DOCUMENT, run, rows)


def main():
    options = arguments()
    if "JAVA_HOME" not in os.environ:
        sys.exit("Set JAVA_HOME.")
    if options.release is not None:
        settings.use_as_release(options.release)
    chosen = [proof for proof in proofs.load(options.quick)
              if options.only is None or re.search(options.only, str(proof))]
    if not chosen:
        sys.exit(f"No proof matches {options.only}; --list prints them.")
    if options.builds:
        print("\n".join([] if options.list else builds(chosen)))
        return
    if options.list:
        print("\n".join(map(str, chosen)))
        return
    begin = time.monotonic()
    running = schedule.Schedule(commit())
    rows = running.run(chosen)
    store(options, rows, time.monotonic() - begin)
    failed = [row for row in rows if not row.passed]
    running.say(f"{len(rows)} rows, {len(failed)} failed")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
