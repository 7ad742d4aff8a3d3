#!/usr/bin/env python3
"""Runs built fuzz targets. scripts/fuzz builds them and describes the results.
usage: tests/fuzz/run.py [SECONDS] [TARGET ...]
"""
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SEEDS = ROOT / "tests/fuzz/corpus"
BUILD = ROOT / "build/fuzz"
EXECUTABLES = BUILD / "tests/fuzz"
USUAL_SECONDS = 20
# Additional time for the start, the corpus and the end of a target. After that it counts as hung.
GRACE_SECONDS = 300
SECONDS_PER_INPUT = 20
MEGABYTES = {"JavaReceiver": 2048}
USUAL_MEGABYTES = 1024
LONGEST_INPUT = 1024

KINDS = (("timeout", "timeout"), ("leak", "leak"), ("out-of-memory", "oom"), ("out of memory", "oom"))


def number_after(pattern, text):
    found = re.findall(pattern + r"\s*(\d+)", text)
    return int(found[-1]) if found else 0


def run(target, seconds):
    """The results of one target, in the form of results.json."""
    executable = EXECUTABLES / f"{target}Fuzzer"
    corpus, findings = BUILD / "corpus" / target, BUILD / "findings"
    for directory in (corpus, findings):
        directory.mkdir(parents=True, exist_ok=True)
    for old in findings.glob(f"{target}-*"):
        old.unlink()
    log = BUILD / f"{target}.log"
    command = [executable, f"-max_total_time={seconds}", f"-timeout={SECONDS_PER_INPUT}",
               f"-rss_limit_mb={MEGABYTES.get(target, USUAL_MEGABYTES)}",
               f"-max_len={LONGEST_INPUT}", f"-artifact_prefix={findings}/{target}-",
               "-print_final_stats=1", "-close_fd_mask=3", corpus, SEEDS / target]
    hung = False
    with open(log, "wb") as output:
        try:
            code = subprocess.run(command, stdout=output, stderr=output, cwd=BUILD,
                                  stdin=subprocess.DEVNULL, timeout=seconds + GRACE_SECONDS).returncode
        except subprocess.TimeoutExpired:
            code, hung = -1, True
    return results(target, seconds, code, hung, log.read_text(errors="replace"), executable)


def results(target, seconds, code, hung, text, executable):
    artifacts = sorted((BUILD / "findings").glob(f"{target}-*"))
    # Slow inputs are saved, but do not count as findings.
    artifacts = [path for path in artifacts if not path.name.startswith(f"{target}-slow-unit")]
    result = "passed"
    if hung or code != 0 or artifacts:
        names = " ".join(path.name for path in artifacts)
        result = next((kind for mark, kind in KINDS if mark in names or f"ERROR: {mark}" in text),
                      "hung" if hung else "crash")
    return {
        "target": target,
        "seconds": seconds,
        "runs": number_after(r"stat::number_of_executed_units:", text),
        "runs_per_second": number_after(r"stat::average_exec_per_sec:", text),
        "new_inputs": number_after(r"stat::new_units_added:", text),
        "edges": number_after(r"\bcov:", text),
        "peak_megabytes": number_after(r"stat::peak_rss_mb:", text),
        "result": result,
        "inputs": [str(path.relative_to(ROOT)) for path in artifacts],
        "replay": [f"{executable.relative_to(ROOT)} {path.relative_to(ROOT)}" for path in artifacts],
    }


def report(outcome):
    columns = ("target", "runs", "runs_per_second", "new_inputs", "edges", "result")
    rows = [("target", "runs", "runs/s", "new inputs", "edges", "result")]
    rows += [tuple(str(one[column]) for column in columns) for one in outcome]
    widths = [max(len(row[column]) for row in rows) for column in range(len(columns))]
    for row in rows:
        cells = [cell.ljust(width) if column in (0, len(row) - 1) else cell.rjust(width)
                 for column, (cell, width) in enumerate(zip(row, widths))]
        print("  ".join(cells).rstrip())


def explain(one):
    print(f"\n{one['target']}: {one['result']}; the log is build/fuzz/{one['target']}.log",
          file=sys.stderr)
    text = (BUILD / f"{one['target']}.log").read_text(errors="replace")
    shown = [line for line in text.splitlines() if not line.startswith("#")]
    print("\n".join(shown[-40:]), file=sys.stderr)
    for command in one["replay"]:
        print(f"Replay it with: {command}", file=sys.stderr)


def main():
    arguments = sys.argv[1:]
    seconds = int(arguments.pop(0)) if arguments and arguments[0].isdigit() else USUAL_SECONDS
    known = sorted(path.name for path in SEEDS.iterdir())
    unknown = [name for name in arguments if name not in known]
    if unknown or seconds == 0:
        sys.exit(f"usage: scripts/fuzz [SECONDS] [TARGET ...]\nTargets: {', '.join(known)}")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        outcome = list(workers.map(lambda target: run(target, seconds), arguments or known))
    (BUILD / "results.json").write_text(json.dumps(outcome, indent=2) + "\n")
    report(outcome)
    failed = [one for one in outcome if one["result"] != "passed"]
    for one in failed:
        explain(one)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
