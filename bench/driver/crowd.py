"""What the network companions need from the system: system calls, and memory of many connections."""
import collections
import dataclasses
import os
import random
import re
import shutil
import statistics
import subprocess

import network
import served

CALLS = 2000
FEW, MANY = 8, 1000
SIZE = 64
# So many that all threads run calls at the same time.
CROWD_CALLS, CROWD_ROUNDS = 64 * MANY, 5


@dataclasses.dataclass
class Figures:
    """Figures for calls of 64 B. `calls` maps kinds to system calls per request: client, server, others."""

    calls: dict
    kibibytes: dict  # of the server, per connection, by kind
    rates: dict  # ratio of the request rate with MANY connections to that with FEW, by kind


def _threads(process):
    return [int(thread) for thread in os.listdir(f"/proc/{process}/task")]


def _attach(processes, output):
    """A strace process that has attached to all threads; None if it ended."""
    command = ["strace", "-f", "-qq", "-o", output, "-e", "signal=none"]
    for process in processes:
        command += ["-p", str(process)]
    tracer = subprocess.Popen(command, stderr=subprocess.DEVNULL)
    threads = [thread for process in processes for thread in _threads(process)]
    for thread in threads:
        while f"TracerPid:\t{tracer.pid}\n" not in _status(thread):
            if tracer.poll() is not None:
                return None
    return tracer


def _status(process):
    with open(f"/proc/{process}/status", encoding="utf-8") as status:
        return status.read()


def _count(program, directory):
    """System calls per request: of the client, of the server's busiest thread, of its other threads."""
    output = os.path.join(directory, "calls")
    program.run(SIZE, CALLS)
    client, server = program.processes()
    own = _threads(server)
    tracer = _attach([client, server], output)
    if tracer is None:
        return None
    program.run(SIZE, CALLS)
    tracer.terminate()
    tracer.wait()
    counts = collections.Counter()
    with open(output, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            begun = re.match(r"(\d+) +(\w+)\(", line)
            if begun and begun[2] != "futex":
                counts[int(begun[1])] += 1
    served_by = sorted((counts[thread] for thread in own), reverse=True)
    others = sum(served_by[1:])
    of_client = sum(counts.values()) - sum(served_by)
    return tuple(round(count / CALLS, 1) for count in (of_client, served_by[0], others))


def _resident(process):
    return int(re.search(r"VmRSS:\s+(\d+)", _status(process))[1])


def _descriptors(process):
    return len(os.listdir(f"/proc/{process}/fd"))


def _crowd(commands, environment):
    """KiB of the server per additional connection, and the ratio of the rates with many and with few."""
    few, many = (served.Program(str(count), commands[count], environment) for count in (FEW, MANY))
    for program in (few, many):
        program.run(SIZE, CROWD_CALLS)
    servers = [program.processes()[1] for program in (few, many)]
    memory = [_resident(server) for server in servers]
    connections = [_descriptors(server) for server in servers]
    shuffled, ratios = random.Random(1), []
    for _ in range(CROWD_ROUNDS):
        taken = {program: program.run(SIZE, CROWD_CALLS)
                 for program in shuffled.sample([few, many], 2)}
        ratios.append(taken[few] / taken[many])
    for program in (few, many):
        program.end()
    return ((memory[1] - memory[0]) / (connections[1] - connections[0]),
            statistics.median(ratios))


def measure(build, java_home, leave_out, directory):
    """The figures; without calls if strace is missing or has no permission."""
    environment = network.environment(build, java_home)
    certificate = network.certificate(build, directory)
    figures = Figures({}, {}, {})
    for kind, name in network.KINDS.items():
        commands = {count: network.ours(build, kind, count, certificate)
                    for count in (1, FEW, MANY)}
        if shutil.which("strace"):
            program = served.Program(name, commands[1], environment)
            counted = _count(program, directory)
            program.end()
            if counted is not None:
                figures.calls[name] = counted
        figures.kibibytes[name], figures.rates[name] = _crowd(commands, environment)
    if not figures.calls:
        leave_out("system calls of the network companions", "strace is not installed, or may not look")
    return figures


def lines(figures):
    """Rows for the table of figures."""
    found = []
    for name, (client, server, others) in figures.calls.items():
        found.append((f"System calls per call of 64 B, network, {name}",
                      f"client {client}, server {server}, other threads {others} "
                      "(aim: at most 3, 3 and 0"
                      + (")" if client <= 3 and server <= 3 and others == 0 else ", missed)")))
    for name, kibibytes in figures.kibibytes.items():
        found.append((f"Memory of the server for each of {MANY:,} busy connections, {name}",
                      f"{kibibytes:.0f} KiB"))
        found.append((f"Calls of 64 B a second with {MANY:,} busy connections, to those with {FEW}, {name}",
                      f"{figures.rates[name]:.2f}"))
    return found
