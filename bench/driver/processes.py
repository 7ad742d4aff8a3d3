"""Rows that measure whole processes: start-up, and loading the library."""
import os
import random
import re
import subprocess
import sys
import time

import results
import settings

ANSWERED = b"\nanswered\n"


def _time_to_answer(command, environment):
    """Nanoseconds from the start of the process to its answer."""
    begin = time.perf_counter_ns()
    with subprocess.Popen(command, env=environment, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL) as process:
        output = b""
        while ANSWERED not in output:
            read = os.read(process.stdout.fileno(), 65536)
            if not read:
                raise RuntimeError(f"no answer from {command[0]}")
            output += read
        return time.perf_counter_ns() - begin


def _start_up(build, unit, home, effort, java_home):
    archive = os.path.join(home, "Binaries/Jvm/FerrolinkJvmRuntime.jar")
    commands = {
        "by hand": [build.file("ferrolink-bench-start-hand"), java_home, archive],
        "by hand, describing itself": [build.file("ferrolink-bench-start-hand"), java_home, archive,
                                       "info"],
        "ours": [build.file("ferrolink-bench-start-library"),
                 os.path.join(home, "Binaries/Native/Linux/X64")],
        "java": [os.path.join(java_home, "bin/java"), "-cp",
                 f"{archive}:{build.file('FerrolinkBenchStartUp.jar')}",
                 "com.ferrolink.bench.StartUp"],
    }
    environment = settings.environment(java_home)
    series = {name: [] for name in commands}
    shuffled = random.Random(1)
    for round_number in range(effort.start_rounds + 1):
        for name in shuffled.sample(list(commands), len(commands)):
            took = _time_to_answer(commands[name], environment)
            if round_number > 0:  # the first round loads the files into memory
                series[name].append(took)
    return results.rows_of(unit, 64, series, "by hand")


def start_up(build, effort, java_home):
    return (_start_up(build, "start-up, bare receiver", build.receiver_home, effort, java_home)
            + _start_up(build, "start-up, archive", build.root, effort, java_home))


def load(build, effort):
    """Opening the library in a C++ program, compared with an empty library; and facts of the file."""
    libraries = {"ours": build.member, "empty library": build.file("libferrolink-bench-empty.so")}
    series = {name: [] for name in libraries}
    memory = {name: [] for name in libraries}
    shuffled = random.Random(1)
    for round_number in range(effort.load_rounds + 1):
        for name in shuffled.sample(list(libraries), len(libraries)):
            output = subprocess.run([build.file("ferrolink-bench-load"), libraries[name]],
                                    capture_output=True, text=True, check=True).stdout
            nanoseconds, resident = map(int, output.split()[1:])
            if round_number > 0:
                series[name].append(nanoseconds)
                memory[name].append(resident)
    rows = results.rows_of("library load", 0, series, "empty library")
    return rows, _facts(build.member, results.Spread.of(memory["ours"]).median)


def _facts(library, resident):
    relocations = subprocess.run(["readelf", "-rW", library], capture_output=True, text=True,
                                 check=True).stdout
    kinds = {}
    for kind in re.findall(r"\bR_X86_64_\w+", relocations):
        kinds[kind] = kinds.get(kind, 0) + 1
    segments = subprocess.run(["readelf", "-lW", library], capture_output=True, text=True,
                              check=True).stdout
    loaded = sum(int(size, 16) for size in re.findall(r"LOAD\s+\S+\s+\S+\s+\S+\s+(\S+)", segments))
    return {
        "relocations": sum(kinds.values()),
        "relative relocations": kinds.get("R_X86_64_RELATIVE", 0),
        "file": os.path.getsize(library),
        "loaded": loaded,
        "resident": resident,
    }


def instructions(build):
    """Instructions per attached command of 64 bytes; None if valgrind fails."""
    result = subprocess.run(
        [sys.executable, os.path.join(build.sources, "instructions/count.py"),
         "--program", build.file("ferrolink-bench-instructions"), "--library", build.member,
         "--jvm", build.fake_jvm], capture_output=True, text=True, check=False)
    match = re.search(r"^= ([\d.]+)", result.stdout, re.MULTILINE)
    return float(match.group(1)) if match else None
