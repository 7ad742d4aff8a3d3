"""Calls over the loopback interface: the network companions, their framing by hand, and gRPC."""
import os
import subprocess
import tempfile

import served
import settings

THREADS = (1, 8)
KINDS = {"tcp": "plain", "tls": "TLS"}


def certificate(build, directory):
    """The files of a certificate and its key."""
    subprocess.run([build.file("ferrolink-bench-certificate"), directory], check=True)
    return [os.path.join(directory, name) for name in ("certificate", "key")]


def ours(build, kind, threads, files):
    """The program that calls through the companions; `files` are those of the certificate."""
    tls = files if kind == "tls" else []
    client = "libFerrolinkTcpTlsClient.so" if tls else "libFerrolinkTcpClient.so"
    return [build.file("ferrolink-bench-network"), kind, str(threads),
            os.path.join(build.root, "bin/ferrolink-server"),
            build.file("libferrolink-bench-plug-in.so"), os.path.join(build.native, client), *tls]


def environment(build, java_home):
    """The environment of all programs that measure the network."""
    found = settings.environment(java_home)
    found["FERROLINK_HOME"] = build.root
    return found


def _commands(build, kind, threads, files, leave_out):
    tls = files if kind == "tls" else []
    commands = {
        "ours": ours(build, kind, threads, files),
        "by hand": [build.file("ferrolink-bench-raw"), kind, str(threads), *tls],
    }
    if build.has("ferrolink-bench-grpc"):
        commands["gRPC"] = [build.file("ferrolink-bench-grpc"), str(threads), *tls]
    else:
        leave_out("gRPC", "libgrpc++-dev, libprotobuf-dev or protobuf-compiler-grpc is not installed")
    return commands


def _on(processors, command):
    return command if processors is None else ["taskset", "-c", processors, *command]


def _measure(unit, commands, effort, variables, processors):
    programs = [served.Program(name, _on(processors, command), variables)
                for name, command in commands.items()]
    return served.measure(unit, programs, effort)


def rows(build, effort, java_home, leave_out):
    """Plain and TLS, one thread and several, on one processor and on all of them."""
    variables = environment(build, java_home)
    found = []
    with tempfile.TemporaryDirectory() as directory:
        files = certificate(build, directory)
        for processors, place in (("0", "one processor"), (None, "all processors")):
            for kind, name in KINDS.items():
                for threads in THREADS:
                    unit = f"network, {name}, {threads} thread{'s' * (threads > 1)}, {place}"
                    commands = _commands(build, kind, threads, files, leave_out)
                    found += _measure(unit, commands, effort, variables, processors)
    return found
