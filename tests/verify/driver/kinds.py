"""Runs proofs, with one function per kind. Each takes a proof and returns its rows."""
import json
import os
import re
import subprocess
import tempfile
import time

import results
import running
import settings

_DETAILS = 2000
_OF_GTEST = {"name", "file", "line", "status", "result", "timestamp", "time", "classname",
             "failures", "value_param", "type_param"}


def _row(proof, outcome, seconds, figures=None, times=0, what=None, details=""):
    return results.Row(proof.group, what or proof.what, proof.tree, proof.jdk, times, outcome,
                       figures or {}, seconds, details=details[:_DETAILS])


def _sentence(name):
    """The words of a test's name, spelt as scripts/list-tests prints them."""
    spaced = re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])", " ", name)
    return spaced.lower().replace("/", ", ")


def gtest(proof):
    """A row for each test of the program that matches the filter."""
    begin = time.monotonic()
    with tempfile.TemporaryDirectory() as directory:
        report = os.path.join(directory, "report.json")
        program = os.path.join(settings.tree(proof.tree), proof.program)
        ended = running.run([program, f"--gtest_filter={proof.filter}", f"--gtest_output=json:{report}"],
                            proof.limit, settings.environment(proof.tree, proof.java_home, proof.environment))
        seconds = time.monotonic() - begin
        if ended.timed_out or not os.path.exists(report):
            return [_row(proof, f"{ended} after {seconds:.0f} s", seconds, details=ended.output[-_DETAILS:])]
        with open(report, encoding="utf-8") as text:
            suites = json.load(text).get("testsuites", [])
    tests = [test for suite in suites for test in suite["testsuite"]]
    if not tests:
        return [_row(proof, "no such test", seconds)]
    rows = [_of_test(proof, test, len(tests) > 1) for test in tests]
    if ended.exit_code != 0 and all(row.passed for row in rows):
        rows.append(_row(proof, str(ended), seconds, details=ended.output[-_DETAILS:]))
    return rows


def _of_test(proof, test, named):
    figures = {key: int(value) if re.fullmatch(r"-?\d+", value) else value
               for key, value in test.items() if key not in _OF_GTEST}
    times = figures.pop(proof.times, 1)
    failures = [failure["failure"] for failure in test.get("failures", [])]
    passed = test.get("result") == "COMPLETED" and not failures
    what = f"{proof.what}: {_sentence(test['name'])}" if named else proof.what
    return _row(proof, results.PASSED if passed else "failed", float(test["time"].rstrip("s")), figures,
                times, what, "\n".join(failures))


def _tests_of(proof):
    """The tests that ctest would run: (name, command, properties)."""
    listing = subprocess.run(
        ["ctest", "--test-dir", settings.tree(proof.tree), "-R", proof.tests, "--show-only=json-v1"],
        check=True, capture_output=True, text=True).stdout
    for test in json.loads(listing)["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
        yield test["name"], test.get("command"), properties


def ctest(proof):
    """One row for the repeated runs of all tests that match the expression. ctest only lists the tests:
    two runs of ctest in one tree would overwrite each other's logs."""
    if not proof.tests:
        return [_row(proof, "no test yet", 0)]
    begin = time.monotonic()
    tests = list(_tests_of(proof))
    if not tests:
        return [_row(proof, f"no such test: {proof.tests}", 0)]
    failed, first, tried = 0, "", 0
    for _ in range(proof.repetitions):
        for name, command, properties in tests:
            left = proof.limit - (time.monotonic() - begin)
            if left <= 0:
                return [_row(proof, f"timed out after {proof.limit} s", time.monotonic() - begin,
                             {"failed": failed}, tried, details=first)]
            tried += 1
            failure = _failure_of(proof, name, command, properties, left)
            failed += 1 if failure else 0
            first = first or failure
    figures = {"tests": len(tests), "failed": failed}
    return [_row(proof, "failed" if failed else results.PASSED, time.monotonic() - begin, figures, tried,
                 details=first)]


def _failure_of(proof, name, command, properties, left):
    """The failure's text; empty if the test passed."""
    if command is None:
        return f"{name} is not built"
    further = dict(entry.split("=", 1) for entry in properties.get("ENVIRONMENT", []))
    ended = running.run(command, min(left, properties.get("TIMEOUT", left)),
                        settings.environment(proof.tree, proof.java_home, {**further, **proof.environment}),
                        properties.get("WORKING_DIRECTORY"))
    skipped = any(re.search(expression, ended.output)
                  for expression in properties.get("SKIP_REGULAR_EXPRESSION", []))
    if ended.exit_code == 0 and not ended.timed_out and not skipped:
        return ""
    return f"{name}: {'skipped' if skipped else ended}\n{ended.output[-_DETAILS:]}"


def fuzz(proof):
    """A row for each target of scripts/fuzz."""
    begin = time.monotonic()
    report = os.path.join(settings.tree("fuzz"), "results.json")
    if os.path.exists(report):
        os.remove(report)
    ended = running.run([os.path.join(settings.ROOT, "scripts/fuzz"), str(proof.seconds)], proof.limit,
                        settings.environment("", "", proof.environment), settings.ROOT)
    if not os.path.exists(report):
        return [_row(proof, f"no results: {ended}", time.monotonic() - begin,
                     details=ended.output[-_DETAILS:])]
    with open(report, encoding="utf-8") as text:
        rows = [_of_target(proof, target) for target in json.load(text)]
    if ended.exit_code != 0 and all(row.passed for row in rows):
        rows.append(_row(proof, str(ended), time.monotonic() - begin, details=ended.output[-_DETAILS:]))
    return rows


def _of_target(proof, target):
    figures = {name: target[name] for name in ("runs_per_second", "edges", "new_inputs")}
    return _row(proof, target["result"], target["seconds"], figures, target["runs"],
                f"{proof.what}: {target['target']}", "\n".join(target["replay"]))


KINDS = {"gtest": gtest, "ctest": ctest, "fuzz": fuzz}
