"""Rows whose contenders are programs that take turns (bench/harness/Serve.h)."""
import os
import random
import subprocess

import results
import settings

TURN = 10e6  # nanoseconds
FEWEST_CALLS = 4


class Program:
    """A running contender. `end` stops it."""

    def __init__(self, name, command, environment):
        self.name = name
        self._process = subprocess.Popen(command, env=environment, stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                         text=True, bufsize=1)

    def run(self, size, calls):
        """Nanoseconds per call."""
        self._process.stdin.write(f"{size} {calls}\n")
        for line in self._process.stdout:
            if line.startswith("= "):
                return float(line[2:]) / calls
        raise RuntimeError(f"{self.name} ended")

    def warm_up(self, size, milliseconds):
        """Returns the number of calls per turn."""
        spent, calls, took = 0, 1, 0
        while spent < milliseconds * 1e6:
            took = self.run(size, calls)
            spent += took * calls
            calls = max(calls, min(calls * 2, int(TURN / took)))
        return max(FEWEST_CALLS, round(TURN / took))

    def processes(self):
        """The program's process and its children."""
        number = self._process.pid
        with open(f"/proc/{number}/task/{number}/children", encoding="utf-8") as children:
            return [number, *map(int, children.read().split())]

    def end(self):
        self._process.stdin.close()
        self._process.wait()


def _has_jpype():
    return subprocess.run(["/usr/bin/python3", "-c", "import jpype"], capture_output=True,
                          check=False).returncode == 0


def _commands(build, leave_out):
    archive = os.path.join(build.receiver_home, "Binaries/Jvm/FerrolinkJvmRuntime.jar")
    commands = {
        "ours": [build.file("ferrolink-bench-call-java"), "--home", build.receiver_home, "--serve"],
        "Unix socket": [build.file("ferrolink-bench-sockets"), "unix"],
        "TCP": [build.file("ferrolink-bench-sockets"), "tcp"],
    }
    jpype = ["/usr/bin/python3", os.path.join(build.sources, "peers/jpype_echo.py"), archive]
    if _has_jpype():
        commands["JPype"] = [*jpype, *settings.HEAP]
    else:
        leave_out("JPype", "python3-jpype is not installed")
    if build.has("ferrolink-bench-grpc"):
        commands["gRPC"] = [build.file("ferrolink-bench-grpc")]
    else:
        leave_out("gRPC", "libgrpc++-dev, libprotobuf-dev or protobuf-compiler-grpc is not installed")
    return commands


def peers(build, effort, java_home, leave_out):
    """C++ to Java by the library, compared with other bridges between languages or processes."""
    environment = settings.environment(java_home)
    own = dict(environment, JAVA_TOOL_OPTIONS=" ".join(settings.HEAP))
    programs = [Program(name, command, own if name == "ours" else environment)
                for name, command in _commands(build, leave_out).items()]
    return measure("C++ to Java, peers", programs, effort)


def typed_peers(build, effort, java_home, leave_out):
    """Typed calls by name, compared with JPype. CPU time of the calling thread."""
    if not _has_jpype():
        leave_out("JPype, typed calls", "python3-jpype is not installed")
        return []
    environment = settings.environment(java_home)
    own = dict(environment, JAVA_TOOL_OPTIONS=" ".join(settings.HEAP))
    classes = build.file("FerrolinkBenchEcho.jar")
    programs = [
        Program("ours", [build.file("ferrolink-bench-typed-call"), "--home", build.root,
                         "--classes", classes, "--serve"], own),
        Program("JPype", ["/usr/bin/python3", os.path.join(build.sources, "peers/jpype_typed.py"),
                          classes, *settings.HEAP], environment)]
    shuffled = random.Random(1)
    rows = []
    for number, work in enumerate(settings.TYPED_WORKS):
        series = _take_turns(programs, effort, number, shuffled)
        rows += results.rows_of(f"typed, {work}, peers", 0, series, "ours")
    for program in programs:
        program.end()
    return rows


def measure(unit, programs, effort):
    """The rows of programs that take turns in each round. Ends the programs."""
    rows = []
    shuffled = random.Random(1)
    for size in settings.SIZES:
        series = _take_turns(programs, effort, size, shuffled)
        rows += results.rows_of(unit, size, series, "ours")
    for program in programs:
        program.end()
    return rows


def _take_turns(programs, effort, size, shuffled):
    calls = {program: program.warm_up(size, effort.warm_up) for program in programs}
    series = {program.name: [] for program in programs}
    for _ in range(effort.process_rounds):
        for program in shuffled.sample(programs, len(programs)):
            program.run(size, 1 + calls[program] // 10)
            series[program.name].append(program.run(size, calls[program]))
    return series
