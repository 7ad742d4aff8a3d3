"""The faults that the doctor has to name: how each gets into the machine, the id, parts of what is said."""
import contextlib
import dataclasses
import mmap
import os
import resource
import shutil
import subprocess
import sys
from collections.abc import Callable

from machine import ARCHIVE, LIBRARIES, RECEIVER, become_usual, class_file, elf_header

MIB = 1 << 20
SERVICES = "META-INF/services/com.ferrolink.core.receiver.CommandHandler"

# The steps of the search, and what the loader says about the candidates.
SEARCHED = """runtimePath of the configuration: not set
FERROLINK_JVM_RUNTIME_PATH: not set
JAVA_HOME = /nowhere/java
""" + "\n".join(f"tried {file}: cannot open shared object file: No such file or directory" for file in (
    "/nowhere/java", "/nowhere/java/jre/lib/server/libjvm.so", "/nowhere/java/lib/server/libjvm.so"))


@dataclasses.dataclass
class Fault:
    name: str
    id: str
    remedy: str
    arrange: Callable
    evidence: str = ""
    finding: str = ""
    starts: bool = True  # whether the doctor starts a JVM for trial


def change(**variables):
    def arrange(machine):
        machine.variables.update(variables)
    return arrange


def unset(*names):
    def arrange(machine):
        for name in names:
            machine.variables.pop(name, None)
        machine.variables.update(PATH="/nowhere", FERROLINK_JAVA_DIRECTORY="/nowhere")
    return arrange


def java_home(contents):
    def arrange(machine):
        machine.variables["JAVA_HOME"] = machine.java_home(contents(machine) if callable(contents) else contents)
    return arrange


def library(name="libUtils.so"):
    return lambda machine: (machine.build / machine.library(name)).read_bytes()


def musl(machine):
    return library()(machine).replace(b"libstdc++.so.6\0", b"libc.musl-x.so\0")


def shadowed(machine):
    machine.variables["FERROLINK_JVM_RUNTIME_PATH"] = machine.java
    machine.variables["JAVA_HOME"] = machine.java_home(b"another")


def sibling(name, contents=None):
    def arrange(machine):
        machine.copy_tree()
        old = machine.tree / machine.library(name)
        if contents is None:
            old.unlink()
        else:
            machine.replace(machine.library(name), contents(old.read_bytes()))
    return arrange


def own_archive(contents):
    def arrange(machine):
        machine.copy_tree()
        old = machine.tree / ARCHIVE
        if contents is None:
            old.unlink()
        else:
            machine.replace(ARCHIVE, contents(old.read_bytes()))
    return arrange


def entries(change_entry):
    def arrange(machine):
        machine.copy_tree()
        machine.rewrite_archive(change_entry)
    return arrange


def flip_in_the_middle(data):
    middle = len(data) // 2
    return data[:middle] + bytes(byte ^ 0xFF for byte in data[middle:middle + 64]) + data[middle + 64:]


def second_receiver(machine):
    machine.archive("second.jar", {RECEIVER: class_file(8)})


def boot_class_path(machine):
    copy = machine.place / "boot.jar"
    copy.write_bytes((machine.build / ARCHIVE).read_bytes())
    machine.variables["JAVA_TOOL_OPTIONS"] = f"-Xbootclasspath/a:{copy}"


def writable(machine):
    (machine.copy_tree() / "Binaries/Jvm").chmod(0o777)


def preload(*parts, **variables):
    def arrange(machine):
        machine.variables.update(variables)
        machine.variables["LD_PRELOAD"] = os.path.join(*(machine.java if part == "JAVA" else part for part in parts))
    return arrange


def preloaded_jvm(machine):
    machine.variables["LD_PRELOAD"] = machine.java_home(library()(machine)) + "/lib/server/libjvm.so"


def other_bridge(fakes, has_archive=False, **variables):
    """A bridge that loads a copy of the JVM library, with the rest of that Java by links."""
    def arrange(machine):
        home = machine.place / "other"
        (home / "lib/server").mkdir(parents=True)
        for folder in ("", "lib", "lib/server"):
            for one in os.listdir(os.path.join(machine.java, folder)):
                if one not in ("lib", "server", "libjvm.so"):
                    (home / folder / one).symlink_to(os.path.join(machine.java, folder, one))
        shutil.copyfile(machine.java + "/lib/server/libjvm.so", home / "lib/server/libjvm.so")
        machine.variables.update(LD_PRELOAD=f"{fakes}/libOtherBridge.so",
                                 OTHER_BRIDGE_JVM=str(home / "lib/server/libjvm.so"), **variables)
        if has_archive:
            machine.variables["JAVA_TOOL_OPTIONS"] = f"-Djava.class.path={machine.build / ARCHIVE}"
    return arrange


def waits_for_debugger(machine):
    """The doctor does not see the option, which is in a file of options."""
    file = machine.place / "jvm.options"
    file.write_text("-agentlib:jdwp=transport=dt_socket,server=y,suspend=y,address=127.0.0.1:0\n")
    machine.variables["JAVA_TOOL_OPTIONS"] = f"-XX:VMOptionsFile={file}"
    machine.arguments += ["--start-timeout-ms", "1500"]


def unreadable(path):
    """A part of the class path that only the superuser could read."""
    @contextlib.contextmanager
    def arrange(machine):
        (machine.place / "closed").mkdir()
        entry = machine.place / "closed" / "entry.jar"
        entry.write_bytes(b"")
        (machine.place / path).chmod(0)
        machine.before.append(become_usual)
        machine.arguments += ["--class-path", str(entry)]
        yield
        (machine.place / path).chmod(0o700)
    return arrange


def closed_java(part):
    """A Java home of which only the superuser may read a part."""
    @contextlib.contextmanager
    def arrange(machine):
        machine.variables["JAVA_HOME"] = machine.java_home(library()(machine))
        (machine.place / part).chmod(0)
        machine.before.append(become_usual)
        yield
        (machine.place / part).chmod(0o700)
    return arrange


def closed_file(name):
    """A file of the installation that only the superuser may read."""
    def arrange(machine):
        machine.copy_tree()
        machine.replace(name, (machine.tree / name).read_bytes())
        (machine.tree / name).chmod(0)
        machine.before.append(become_usual)
    return arrange


def directory_gone(machine):
    machine.before.append(lambda: os.rmdir(os.getcwd()))


@contextlib.contextmanager
def closed_process(machine):
    """A process at which only the superuser may look."""
    # PR_SET_DUMPABLE. Standard input ends with this context, and the process with that.
    program = "import ctypes, sys; print(ctypes.CDLL(None).prctl(4, 0, 0, 0, 0), flush=True); sys.stdin.read()"
    with subprocess.Popen([sys.executable, "-c", program], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        if process.stdout.readline() != b"0\n":
            raise OSError("prctl")
        machine.before.append(become_usual)
        machine.arguments += ["--pid", str(process.pid)]
        yield


def class_path(*contents):
    def arrange(machine):
        path = machine.place / "entry.jar"
        if contents:
            path.write_bytes(contents[0])
        machine.arguments += ["--class-path", str(path)]
    return arrange


def empty_directory(machine):
    (machine.place / "archives").mkdir()
    machine.arguments += ["--class-path", str(machine.place / "archives")]


def archive(entry, contents):
    def arrange(machine):
        machine.archive("user.jar", {entry: contents})
    return arrange


def groups(**limits):
    return lambda machine: machine.control_groups(**limits)


def limit(kind, size):
    return lambda machine: machine.before.append(lambda: resource.setrlimit(kind, (size, size)))


def arguments(*words):
    return lambda machine: machine.arguments.extend(words)


def configuration(machine):
    file = machine.place / "ferrolink.json"
    file.write_text('{"runtimes": {"jvm": {"default": {"channel": "tcp", "host": "a", "port": "x"}}}}')
    machine.arguments += ["--config", str(file)]


def shared_directory(machine):
    machine.current.chmod(0o777)


def unwritable_directory(machine):
    machine.current = "/proc/self"


def large_log(machine):
    with open(machine.current / "_FerrolinkNativeErrorLogger_2026-01-01.txt", "wb") as log:
        log.truncate(200 * MIB)


def tree_named(name, **variables):
    def arrange(machine):
        machine.copy_tree(name)
        machine.variables.update(variables)
    return arrange


@contextlib.contextmanager
def two_jvms(machine):
    """This process maps two files that are named as JVM libraries are."""
    mapped = []
    for folder in ("first", "second"):
        (machine.place / folder).mkdir()
        path = machine.place / folder / "libjvm.so"
        path.write_bytes(bytes(4096))
        with open(path, "rb") as file:
            mapped.append(mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ))
    machine.arguments += ["--pid", str(os.getpid())]
    yield
    for one in mapped:
        one.close()


def common_faults(fakes, asan):
    """Those that every JVM has."""
    return [
        Fault("no JVM anywhere", "jvm-not-found", "Install a Java runtime", unset("JAVA_HOME")),
        Fault("JAVA_HOME names nothing", "jvm-path-missing", "Correct JAVA_HOME", change(JAVA_HOME="/nowhere/java"),
              SEARCHED),
        Fault("a Java home of mode 0", "jvm-path-unreadable", "Let the program's user read", closed_java("java"),
              "lib/server/libjvm.so: cannot open shared object file: Permission denied"),
        Fault("a JVM library of mode 0", "jvm-path-unreadable", "Let the program's user read",
              closed_java("java/lib/server/libjvm.so"), "Permission denied"),
        Fault("JAVA_HOME is no Java home", "jvm-no-library", "Correct JAVA_HOME", change(JAVA_HOME="/usr/share")),
        Fault("the JVM has 32 bits", "jvm-32-bit", "Correct JAVA_HOME", java_home(elf_header(32, 3)),
              "server/libjvm.so: wrong ELF class: ELFCLASS32"),
        Fault("the JVM is for ARM", "jvm-other-machine", "Correct JAVA_HOME", java_home(elf_header(64, 183)),
              "server/libjvm.so: cannot open shared object file"),
        Fault("the JVM needs musl", "jvm-musl", "built for glibc", java_home(musl),
              "libc.musl-x.so: cannot open shared object file"),
        Fault("the JVM is a text", "jvm-unloadable", "Correct JAVA_HOME", java_home(b"no library\n")),
        Fault("the library is no JVM", "jvm-not-a-jvm", "Correct JAVA_HOME", java_home(library())),
        Fault("two variables name two Javas", "jvm-shadowed", "remove one of them", shadowed),
        Fault("another JVM is preloaded", "jvm-preloaded", "or none", preloaded_jvm),
        Fault("another JVM runs first", "jvm-other-runs", "look at LD_PRELOAD",
              other_bridge(fakes, OTHER_BRIDGE_STARTS="1"), "/other/lib/server/libjvm.so"),
        Fault("another JVM runs first, with the archive", "jvm-other-runs", "look at LD_PRELOAD",
              other_bridge(fakes, True, OTHER_BRIDGE_STARTS="1"), "/other/lib/server/libjvm.so"),
        Fault("another JVM is loaded", "jvm-two-loaded", "use the same Java", other_bridge(fakes),
              "/other/lib/server/libjvm.so"),
        Fault("a process has two JVMs", "process-two-jvms", "use the same Java", two_jvms),
        Fault("a process that is not there", "process-unreadable", "Name a process that runs",
              arguments("--pid", "999999999"), "No such file"),
        Fault("a process of others", "process-unreadable", "as its user", closed_process, "Permission denied"),
        Fault("an unknown option", "start-failed", "Remove or correct the option",
              change(JAVA_TOOL_OPTIONS="-XX:+NoSuch")),
        Fault("words of an error without a code", "start-failed", "Raise the limit",
              change(JAVA_TOOL_OPTIONS="-agentlib:'Resource temporarily unavailable'"), "Could not find agent library",
              "fails: the system has no further thread. The system"),
        Fault("a JVM that crashes", "start-failed", "limits of memory",
              change(JAVA_TOOL_OPTIONS="-Xshare:off -XX:MaxMetaspaceSize=3m -XX:+CrashOnOutOfMemoryError"),
              "fatal error: OutOfMemory encountered"),
        Fault("a JVM that waits for a debugger", "start-hangs", "suspend=y", waits_for_debugger),
        Fault("an agent that waits for a debugger", "debug-agent-on", "Remove the option from JAVA_TOOL_OPTIONS",
              change(JAVA_TOOL_OPTIONS="-agentlib:jdwp=transport=dt_socket,server=y,address=127.0.0.1:0"), "server=y",
              "waits for a debugger"),
        Fault("the archive is missing", "archive-missing", "Reinstall", own_archive(None)),
        Fault("the archive ends early", "archive-damaged", "Reinstall", own_archive(lambda data: data[:5000])),
        Fault("the archive has a wrong byte", "archive-damaged", "Reinstall", own_archive(flip_in_the_middle)),
        Fault("the archive has another version", "archive-other-version", "Reinstall",
              entries(lambda name, data: data.replace(b"-Version: 0.", b"-Version: 9."))),
        Fault("the archive needs a later Java", "archive-newer-java", "Java 99 or later",
              entries(lambda name, data: class_file(99) + data[8:] if name == RECEIVER else data)),
        Fault("a receiver on the boot class path", "receiver-shadowed", "-Xbootclasspath/a", boot_class_path),
        Fault("a second receiver", "receiver-second", "Remove Ferrolink's classes", second_receiver),
        Fault("a library is missing", "sibling-missing", "Reinstall", sibling("libConfigs.so")),
        Fault("a library is empty", "sibling-empty", "Reinstall", sibling("libUtils.so", lambda data: b"")),
        Fault("a library is a text", "sibling-damaged", "Reinstall",
              sibling("libFerrolinkTcpClient.so", lambda data: b"no library\n")),
        Fault("a library has another version", "sibling-other-version", "Reinstall",
              sibling("libUtils.so", lambda data: data.replace(b"Ferrolink\0\0\0" + b"0.", b"Ferrolink\0\0\0" + b"9."))),
        Fault("others may replace the archive", "sibling-writable", "chmod o-w", writable),
        Fault("a library of mode 0", "installation-unreadable", "chmod", closed_file(f"{LIBRARIES}/libUtils.so"),
              "libUtils.so: Permission denied"),
        Fault("the archive of mode 0", "installation-unreadable", "chmod", closed_file(ARCHIVE), "Permission denied"),
        Fault("no installation", "installation-missing", "FERROLINK_HOME", change(FERROLINK_HOME="/nowhere")),
        Fault("a colon in the path", "installation-path-colon", "without a colon", tree_named("a:b")),
        Fault("a path that the locale lacks", "installation-path-locale", "LC_ALL=C.UTF-8",
              tree_named("ü", LC_ALL="C")),
        Fault("another allocator", "preload-allocator", "--preopen-jvm", preload(fakes, "libOtherAllocator.so")),
        Fault("libjsig is preloaded", "preload-libjsig", "Remove libjsig", preload("JAVA", "lib/libjsig.so")),
        Fault("a sanitizer is preloaded", "preload-sanitizer", "FERROLINK_SANITIZER", preload(asan)),
        Fault("JDK_JAVA_OPTIONS", "variable-ignored", "JAVA_TOOL_OPTIONS", change(JDK_JAVA_OPTIONS="-Xmx1g")),
        Fault("CLASSPATH", "variable-ignored", "FERROLINK_CLASS_PATH", change(CLASSPATH="/srv/a.jar")),
        Fault("a misspelt variable", "variable-unknown", "Correct its name", change(FERROLINK_RUNTIME_PATH="/usr")),
        Fault("a wrong level", "variable-value", "off, runtimeinfo, all", change(FERROLINK_LOGGING_LEVEL="debug")),
        Fault("debug mode", "debug-mode-on", "unset FERROLINK_DEBUG_MODE",
              change(FERROLINK_DEBUG_MODE="true")),
        Fault("a heap beyond the group", "heap-beyond-group", "MaxRAMPercentage", groups(memory=64 * MIB)),
        Fault("a heap beyond the machine", "heap-beyond-memory", "smaller heap", change(JAVA_TOOL_OPTIONS="-Xmx900g")),
        Fault("too few threads", "threads-limited", "30 threads", groups(pids=12), "pids.max leaves 12"),
        Fault("too many threads already", "threads-limited", "30 threads", groups(pids=1000, threads=990),
              "pids.max leaves 10"),
        Fault("small stacks", "stack-small", "ulimit -s", limit(resource.RLIMIT_STACK, 200 * 1024)),
        Fault("few addresses", "addresses-limited", "ulimit -v unlimited",
              limit(resource.RLIMIT_AS, 3 << 30)),
        Fault("signals of the host", "signals-taken", "-Xrs", arguments("--host-signals")),
        Fault("a refused configuration", "configuration-refused", "Correct the place", configuration),
        Fault("a shared directory", "working-directory-shared", "0700", shared_directory),
        Fault("no file can be made", "working-directory-unwritable", "workingDirectory", unwritable_directory),
        Fault("a full file system", "working-directory-full", "Free space", preload(fakes, "libFullDisk.so"),
              "0 KiB and 1000 files are free"),
        Fault("a used-up quota", "working-directory-full", "Free space",
              preload(fakes, "libFullDisk.so", FULL_DISK_QUOTA="1"), "Disk quota exceeded"),
        Fault("files may not grow", "working-directory-unwritable", "ulimit -f unlimited",
              limit(resource.RLIMIT_FSIZE, 0), "File too large"),
        Fault("the directory is gone", "working-directory-gone", "Change to a directory that exists", directory_gone),
        Fault("a large log", "log-large", "explain", large_log),
        Fault("a missing archive", "class-path-missing", "Correct the class path", class_path()),
        Fault("an archive of mode 0", "class-path-unreadable", "Let the program's user read",
              unreadable("closed/entry.jar"), "Permission denied"),
        Fault("an archive below mode 0", "class-path-unreadable", "Let the program's user read", unreadable("closed"),
              "Permission denied"),
        Fault("a text as archive", "class-path-no-archive", "Build or copy", class_path(b"no archive\n")),
        Fault("no archives", "class-path-empty", "Correct the class path", empty_directory),
        Fault("a handler that is not there", "handler-unavailable", "names the class",
              archive(SERVICES, b"com.example.Missing\n")),
        Fault("an archive for a later Java", "class-path-newer-java", "Java 99 or later",
              archive("A.class", class_file(99))),
    ]


def later_java_faults():
    """Those that Java 24 brought."""
    return [
        Fault("native access denied", "native-access-denied", "--enable-native-access=ALL-UNNAMED",
              change(JAVA_TOOL_OPTIONS="--illegal-native-access=deny")),
        Fault("native access warned", "native-access-warned", "--enable-native-access=ALL-UNNAMED",
              archive("A.class", class_file(8, b"com/ferrolink/Ferrolink"))),
    ]
