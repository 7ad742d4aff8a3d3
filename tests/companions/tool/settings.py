"""The faults of variables and limits; and right settings that look odd."""
import contextlib
import os
import resource
import subprocess

from faults import Fault, change
from machine import STRANGER, stranger_may_own, stranger_may_run

MOST_THREADS = 40


def java_on_path(machine):
    (machine.place / "bin").mkdir()
    (machine.place / "bin/java").symlink_to(machine.java + "/bin/java")
    machine.variables.update(PATH=f"{machine.place}/bin", FERROLINK_JAVA_DIRECTORY="/nowhere")
    machine.variables.pop("JAVA_HOME", None)


def empty_home(machine):
    java_on_path(machine)
    machine.variables["JAVA_HOME"] = ""


@contextlib.contextmanager
def busy_user(machine):
    """A user who has threads already, fewer than allowed."""
    machine.place.chmod(0o755)
    os.chown(machine.current, STRANGER, -1)
    machine.before += [lambda: resource.setrlimit(resource.RLIMIT_NPROC, (MOST_THREADS, MOST_THREADS)),
                       lambda: os.setuid(STRANGER)]
    with contextlib.ExitStack() as running:
        for _ in range(15):
            process = running.enter_context(subprocess.Popen(["sleep", "1000"], user=STRANGER))
            running.callback(process.kill)
        yield


def agents():
    """A debugger's agent in the options of the JVM, in each way of writing it."""
    own = "JAVA_TOOL_OPTIONS"
    for name, variable, option, finding in (
            ("a port of this machine", own, "-agentlib:jdwp=transport=dt_socket,server=y,suspend=n,address=5005",
             "whoever connects to its port runs code"),
            ("a port of all addresses", own, "-agentlib:jdwp=transport=dt_socket,server=y,suspend=n,address=*:5005",
             "all addresses of this machine, and whoever reaches its port runs code"),
            ("all addresses in numbers", "_JAVA_OPTIONS", "-Xrunjdwp:address=0.0.0.0:5005,transport=dt_socket,server=y",
             "all addresses of this machine"),
            ("all addresses of IPv6", own, "-agentpath:/opt/lib/libjdwp.so=transport=dt_socket,server=y,address=[::]:0",
             "all addresses of this machine"),
            ("a debugger that waits", "_JAVA_OPTIONS", "-agentlib:jdwp=transport=dt_socket,address=10.0.0.1:5005",
             "the JVM connects to a debugger")):
        yield Fault(f"an agent, {name}", "debug-agent-on", f"Remove the option from {variable}",
                    change(**{variable: f"-Xmx64m {option}"}), f"{variable} has {option}", finding)


def port_with_java_8(machine):
    """There a port alone is one of all addresses."""
    home = machine.place / "java8"
    (home / "lib/server").mkdir(parents=True)
    (home / "release").write_text('JAVA_VERSION="1.8.0_402"\n')
    (home / "lib/server/libjvm.so").symlink_to(machine.java + "/lib/server/libjvm.so")
    machine.variables.update(JAVA_HOME=str(home), JAVA_TOOL_OPTIONS="-agentlib:jdwp=server=y,suspend=n,address=5005")


def settings_faults(tool):
    faults = [
        *agents(),
        Fault("an agent, a port with Java 8", "debug-agent-on", "Remove the option", port_with_java_8, "address=5005",
              "all addresses of this machine"),
        Fault("JAVA_HOME is empty", "jvm-path-empty", "unset JAVA_HOME", empty_home, "JAVA_HOME = \n"),
        Fault("a number that is none", "variable-value", "a number from 0 to 4096", change(FERROLINK_POOL_SIZE="abc"),
              "FERROLINK_POOL_SIZE = abc", "Network Client 006"),
        Fault("a number that is too large", "variable-value", "a number from 1 to 3600000",
              change(FERROLINK_CONNECT_TIMEOUT_MS="3600001"), "FERROLINK_CONNECT_TIMEOUT_MS = 3600001"),
        Fault("a word for something else", "variable-value", "accept-any-certificate",
              change(FERROLINK_TLS_INSECURE="yes"), "FERROLINK_TLS_INSECURE = yes", "Network Client 006"),
        Fault("no certificate is verified", "tls-insecure", "unset FERROLINK_TLS_INSECURE",
              change(FERROLINK_TLS_INSECURE="accept-any-certificate")),
    ]
    if stranger_may_own() and stranger_may_run(tool):
        faults.append(Fault("a user with many threads", "threads-limited", "30 threads", busy_user,
                            f"ulimit -u: {MOST_THREADS}, of which 16 are in use"))
    return faults


def run_with_class_path(machine):
    archive = os.environ["TOOL_TEST_HANDLERS"]
    machine.launcher = ["run", "--class-path", archive, "--", str(machine.build / "bin/ferrolink")]


def run_with_opened_jvm(library):
    """The remedy for what is preloaded."""
    def arrange(machine):
        machine.variables["LD_PRELOAD"] = library(machine)
        machine.launcher = ["run", "--preopen-jvm", "--", str(machine.build / "bin/ferrolink")]
    return arrange


def right_settings(fakes):
    return {
        "run --class-path": run_with_class_path,
        "run --preopen-jvm, an allocator": run_with_opened_jvm(lambda machine: f"{fakes}/libOtherAllocator.so"),
        "run --preopen-jvm, libjsig": run_with_opened_jvm(lambda machine: f"{machine.java}/lib/libjsig.so"),
        "java on PATH": java_on_path,
        "options that only look like an agent": change(JAVA_TOOL_OPTIONS="-Da=-agentlib:jdwp -Djdwp=address=*:5005"),
        "numbers": change(FERROLINK_POOL_SIZE="0", FERROLINK_CALL_TIMEOUT_MS="4294967294"),
    }
