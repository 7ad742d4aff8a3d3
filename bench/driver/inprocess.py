"""Rows whose contenders run in one process, which interleaves them."""
import glob
import os
import subprocess
import tempfile

import machine
import results
import settings


def _run(command, environment, what):
    result = subprocess.run(command, env=environment, stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE, text=True, check=False)
    if result.returncode != 0:
        raise RuntimeError(f"{what} failed: {result.stderr.strip()}")


def call_java(build, effort, java_home):
    """C++ to Java: attached, with a clone, attaching, two threads; and many, into the archive."""
    rows = _call_java(build, effort, java_home, build.receiver_home, effort.rounds, "--units",
                      "attached,clone,detached,pair")
    return rows + _call_java(build, effort, java_home, build.root, effort.crowd_rounds, "--handler",
                             "--units", "crowd", "--threads", "8,64", "--sizes", "64")


def host_call(build, effort, java_home):
    """C++ to Java through the interfaces that programs use: Host::Call and typed calls."""
    return (_by_host(build, effort, java_home, "ferrolink-bench-host-call")
            + _by_host(build, effort, java_home, "ferrolink-bench-typed-call"))


def _by_host(build, effort, java_home, program):
    with tempfile.TemporaryDirectory() as directory:
        rounds = os.path.join(directory, "rounds")
        environment = settings.environment(java_home)
        environment["JAVA_TOOL_OPTIONS"] = " ".join(settings.HEAP)
        _run([build.file(program), "--home", build.root,
              "--classes", build.file("FerrolinkBenchEcho.jar"), "--rounds", str(effort.rounds),
              "--warm-up", str(effort.warm_up), "--batch", str(effort.batch), "--json", rounds],
             environment, program)
        return results.read_rounds(rounds, "by hand")


def _call_java(build, effort, java_home, home, rounds_count, *arguments):
    with tempfile.TemporaryDirectory() as directory:
        rounds = os.path.join(directory, "rounds")
        environment = settings.environment(java_home)
        environment["JAVA_TOOL_OPTIONS"] = " ".join(settings.HEAP)
        _run([build.file("ferrolink-bench-call-java"), "--home", home, *arguments,
              "--rounds", str(rounds_count), "--warm-up", str(effort.warm_up),
              "--batch", str(effort.batch), "--json", rounds], environment, "C++ to Java")
        return results.read_rounds(rounds, "same-sequence")


def _java_command(build, java_home, jars):
    native = os.path.join(build.caller_home, "Binaries/Native/Linux/X64")
    properties = {
        "ferrolink.home": build.caller_home,
        "bench.handWritten": build.file("libferrolink-bench-hand-written.so"),
        "bench.sibling": os.path.join(native, "libFerrolinkGoRuntimeNative.so"),
        "bench.plugIn": build.file("libferrolink-bench-plug-in.so"),
        "bench.echo": build.file("libferrolink-bench-echo.so"),
        # Debian's directory for the native parts of JNA and JNR-FFI.
        "java.library.path": "/usr/lib/x86_64-linux-gnu/jni",
    }
    path = [build.archive, build.file("FerrolinkBenchCallCpp.jar"), *jars]
    options = [f"-D{name}={value}" for name, value in properties.items()]
    if int(machine.jdk_version(java_home).split(".")[0]) >= 22:
        options.append("--enable-native-access=ALL-UNNAMED")
    return [os.path.join(java_home, "bin/java"), *settings.HEAP, *options, "-cp", ":".join(path),
            "com.ferrolink.bench.CallCpp"]


def _call_cpp(build, effort, java_home, arguments, baseline, jars=()):
    with tempfile.TemporaryDirectory() as directory:
        rounds = os.path.join(directory, "rounds")
        _run([*_java_command(build, java_home, jars), *arguments, "--rounds", str(effort.rounds),
              "--warm-up", str(effort.warm_up * 2), "--batch", str(effort.batch), "--json", rounds],
             settings.environment(java_home), "Java to C++")
        return results.read_rounds(rounds, baseline)


def call_cpp(build, effort, java_home):
    """Java to C++, Java to C++ to Java, and Java to C++ through the interface that programs use."""
    rows = _call_cpp(build, effort, java_home, ["--units", "call,round-trip"], "same-sequence")
    return rows + _call_cpp(build, effort, java_home, ["--units", "ferrolink-call"], "by hand")


def foreign_function_peers(build, effort, java_home, leave_out):
    """Java to C by JNA and JNR-FFI."""
    peers, jars = [], []
    if build.has("FerrolinkBenchJna.jar"):
        peers += ["JnaDirect", "JnaProxied"]
        jars += [build.file("FerrolinkBenchJna.jar"), "/usr/share/java/jna.jar"]
    else:
        leave_out("JNA", "libjna-java is not installed")
    if build.has("FerrolinkBenchJnr.jar"):
        peers.append("Jnr")
        names = ("jnr-ffi", "jffi", "jnr-x86asm", "asm", "asm-commons", "asm-util", "asm-tree",
                 "asm-analysis")
        jars += [build.file("FerrolinkBenchJnr.jar"),
                 *(f"/usr/share/java/{name}.jar" for name in names)]
    else:
        leave_out("JNR-FFI", "libjnr-ffi-java is not installed")
    if not peers:
        return []
    return _call_cpp(build, effort, java_home, ["--units", "peers", "--peers", ",".join(peers)],
                     "ours", jars)


def jdk_foreign_functions(build, effort, leave_out):
    """Java to C by the JDK's own interface, on a JDK that has it."""
    java_home = machine.jdk_with_foreign_functions()
    if java_home is None:
        leave_out("JDK foreign functions", "no JDK of version 22 or later is under /usr/lib/jvm")
        return []
    classes = build.file("foreign-function-classes")
    sources = glob.glob(os.path.join(build.sources, "peers/ffm/com/ferrolink/bench/*.java"))
    _run([os.path.join(java_home, "bin/javac"), "-d", classes, "-cp",
          build.file("FerrolinkBenchCallCpp.jar"), *sources], None, "compiling foreign functions")
    rows = _call_cpp(build, effort, java_home,
                     ["--units", "peers", "--peers", "ForeignFunction,ForeignFunctionCritical"],
                     "ours", [classes])
    version = machine.jdk_version(java_home).split(".")[0]
    for row in rows:
        row.unit = f"Java to C++, peers on JDK {version}"
    return rows
