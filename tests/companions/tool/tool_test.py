#!/usr/bin/env python3
"""Runs the tool on healthy and on faulty machines.
usage: tool_test.py CASE --build DIRECTORY --java HOME --fakes DIRECTORY --work DIRECTORY

CASE: healthy, faults, or commands. Java is that of HOME; nothing else of the environment counts.
"""
import argparse
import concurrent.futures
import contextlib
import dataclasses
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

import commands
import endpoints
import faults
import installations
import settings
from machine import Machine

OPTIONS = argparse.ArgumentParser()
OPTIONS.add_argument("case", choices=("healthy", "faults", "commands"))
OPTIONS.add_argument("--only", default="", help="the faults whose ids have this text")
for option in ("--build", "--java", "--fakes", "--work"):
    OPTIONS.add_argument(option, required=True)


@contextlib.contextmanager
def new_machine(given):
    machine = Machine(given.build, given.java, tempfile.mkdtemp(dir=given.work))
    try:
        yield machine
    finally:
        machine.remove()


def feature_of(java):
    version = re.search(r'JAVA_VERSION="(\d+)', pathlib.Path(java, "release").read_text())
    return int(version[1])


@contextlib.contextmanager
def tls_server(machine, name, days, demands=False):
    """A server with a certificate for that name and time; its port and the certificate. If it demands certificates,
    it accepts its own only."""
    certificate, key = machine.place / "server.pem", machine.place / "server.key"
    endpoints.make_certificate(certificate, key, name, days)
    more = ["--tls-client-ca", certificate] if demands else []
    with server(machine, "--tls-certificate", certificate, "--tls-key", key, *more) as port:
        yield port, certificate


@contextlib.contextmanager
def server(machine, *arguments):
    """The server under the tool's name; its port."""
    process = subprocess.Popen([machine.build / "bin/ferrolink", "serve", "--runtime", "cpp", "--listen", "127.0.0.1:0",
                                *arguments], env=machine.variables, cwd=machine.place, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True)
    with process:
        try:
            line = process.stdout.readline()
            yield int(re.search(r"listens on 127\.0\.0\.1:(\d+)", line)[1])
        finally:
            process.send_signal(signal.SIGTERM)
            process.stdout.read()


def healthy(given):
    """Complaints about the doctor on a machine without a fault."""
    with new_machine(given) as machine:
        code, findings = machine.examine()
        yield from (f"false: {one}" for one in findings)
        if code != 0:
            yield f"exit code {code}"
    # The variables of a user who has set everything rightly.
    with new_machine(given) as machine:
        machine.variables.update(JAVA_TOOL_OPTIONS="-Xmx256m -Xrs", FERROLINK_LOGGING_LEVEL="All",
                                 FERROLINK_JVM_RUNTIME_PATH=given.java, FERROLINK_HOME=given.build)
        machine.arguments += ["--host-signals", "--config", '{"loggingLevel": "off"}']
        code, findings = machine.examine()
        yield from (f"false with settings: {one}" for one in findings)
    right = installations.right_installations(os.path.join(given.build, "bin/ferrolink"))
    for name, arrange in {**right, **settings.right_settings(given.fakes)}.items():
        with new_machine(given) as machine:
            arrange(machine)
            code, findings = machine.examine()
            yield from (f"false with {name}: {one}" for one in findings)
    yield from healthy_servers(given)


def healthy_servers(given):
    """Complaints about the doctor where a server is right."""
    with new_machine(given) as machine, tls_server(machine, "DNS:orders.example", 90, demands=True) as (port, _):
        own = {"authorities": "server.pem", "certificate": "server.pem", "key": "server.key"}
        file = machine.place / "program.json"
        file.write_text(json.dumps({"endpoints": {"10.0.0.1:8083": {"connect": f"localhost:{port}",
                                                                    "name": "orders.example", **own}}}))
        settings = {"runtime": "jvm", "listen": "127.0.0.1:0", "tls-certificate": "server.pem", "tls-key": "server.key",
                    "plug-in": [os.environ["TOOL_TEST_HANDLERS"]], "rules": [{"clients": ["*"], "handlers": ["echo"]}]}
        (machine.place / "server.json").write_text(json.dumps(settings))
        machine.arguments += ["--config", str(file), "--server-config", str(machine.place / "server.json")]
        for server_name in (f"localhost:{port}", "10.0.0.1:8083"):
            machine.arguments += ["--connect", f"tls://{server_name}"]
            code, findings = machine.examine()
            yield from (f"false with {server_name}: {one}" for one in findings)
            machine.arguments = machine.arguments[:-2]


def files_in(directory):
    return set(os.listdir(directory)) if os.path.isdir(directory) and directory != "/proc/self" else set()


def check_fault(given, fault):
    """Complaints, as lines that begin with the fault's name."""
    try:
        wrong = complaints_about(given, fault)
    except (AssertionError, OSError, subprocess.SubprocessError) as error:
        wrong = [f"{type(error).__name__} {error}"]
    return [f"{fault.name}: {text}" for text in wrong]


def complaints_about(given, fault):
    """Complaints about the doctor on a machine with that fault; whether it was named."""
    with new_machine(given) as machine, contextlib.ExitStack() as kept:
        arranged = fault.arrange(machine)
        if hasattr(arranged, "__enter__"):
            kept.enter_context(arranged)
        machine.arguments += [] if fault.starts else ["--no-start"]
        before = files_in(machine.current)
        code, findings = machine.examine()
        left = files_in(machine.current) - before
    named = [one for one in findings if one["id"] == fault.id]
    wrong = [f"also says {one['id']}: {one['evidence']}" for one in findings if one not in named]
    # The JVM's report of a crash is removed with the trial's directory.
    wrong += [f"names a file that is gone: {one['evidence']}" for one in findings if "hs_err" in one["evidence"]]
    if left:
        wrong.append(f"leaves {left}")
    if code != 1:
        wrong.append(f"exit code {code}")
    if not any(fault.remedy in one["remedy"] for one in named):
        wrong.append(f"does not say {fault.id} with a remedy that has '{fault.remedy}': {named}")
    if named and not any(fault.evidence in one["evidence"] for one in named):
        wrong.append(f"no evidence '{fault.evidence}': {named}")
    if named and not any(fault.finding in one["finding"] for one in named):
        wrong.append(f"no finding '{fault.finding}': {named}")
    return wrong


def ids_without_fault(tested):
    """Complaints about ids that only two of these have: the doctor's sources, its page, these tests."""
    root = pathlib.Path(__file__).resolve().parents[3]
    sources = "".join(file.read_text() for file in (root / "companions/tool/doctor").glob("*.cpp"))
    raised = set(re.findall(r'"([a-z0-9]+(?:-[a-z0-9]+)+)"', sources)) - {"ferrolink-server"}
    table = re.search(r"^\| Subject \| Findings \|\n(?:\|.*\n)+", (root / "docs/tool.md").read_text(), re.M)[0]
    listed = set(re.findall(r"`([a-z0-9-]+)`", table))
    for name, ids in (("sources", raised), ("docs/tool.md", listed), ("tests", tested)):
        yield from (f"{one} is missing in the {name}" for one in sorted((raised | listed | tested) - ids))


def all_faults(given):
    asan = subprocess.run(["g++", "-print-file-name=libasan.so"], check=True, capture_output=True, text=True)
    table = faults.common_faults(given.fakes, os.path.realpath(asan.stdout.strip()))
    table += installations.installation_faults()
    # No JVM is needed to find them, and its start takes time.
    quick = endpoints.all_faults(tls_server) + settings.settings_faults(os.path.join(given.build, "bin/ferrolink"))
    table += [dataclasses.replace(fault, starts=False) for fault in quick]
    if feature_of(given.java) >= 24:
        table += faults.later_java_faults()
    yield from ids_without_fault({fault.id for fault in table + faults.later_java_faults()})
    table = [fault for fault in table if given.only in fault.id]
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        results = list(pool.map(lambda fault: check_fault(given, fault), table))
    right = sum(not wrong for wrong in results)
    print(f"{right} of {len(table)} faults are named, with the right remedy and nothing else")
    for wrong in results:
        yield from wrong


def check_commands(given):
    """Complaints about the other subcommands."""
    for name, case in commands.CASES.items():
        with new_machine(given) as machine:
            try:
                case(machine, lambda *arguments, at=machine: server(at, *arguments))
            except (AssertionError, KeyError, ValueError) as error:
                yield f"{name}: {type(error).__name__} {error}"
    print(f"{len(commands.CASES)} cases")


def main():
    given = OPTIONS.parse_args()
    given.work = os.path.join(given.work, f"{given.case}-{os.path.basename(given.java)}")
    shutil.rmtree(given.work, ignore_errors=True)
    os.makedirs(given.work, mode=0o755)
    complaints = list({"healthy": healthy, "faults": all_faults, "commands": check_commands}[given.case](given))
    print("\n".join(complaints))
    sys.exit(1 if complaints else 0)


if __name__ == "__main__":
    main()
