"""A machine with a fault: an environment, a directory to work in, an installation that may be damaged."""
import ctypes
import json
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import zipfile

LIBRARIES = "Binaries/Native/Linux/X64"
ARCHIVE = "Binaries/Jvm/FerrolinkJvmRuntime.jar"
RECEIVER = "com/ferrolink/core/receiver/Receiver.class"

# A user that is neither the superuser nor the one who runs the tests. Each run has one of its own, and counts threads.
STRANGER = 60600 + os.getpid() % 4000

C_LIBRARY = ctypes.CDLL(None, use_errno=True)


class Machine:
    """What one run of the tool finds. Faults change it before the run."""

    def __init__(self, build, java, place):
        self.build = pathlib.Path(build)
        self.java = java
        self.place = pathlib.Path(place)
        self.tree = None
        self.arguments = []
        self.stdin = ""
        self.launcher = []  # words before "doctor"
        self.before = []  # what the child does before it becomes the tool
        self.current = self.place / "work"
        self.current.mkdir(parents=True, mode=0o700)
        self.variables = {"PATH": "/usr/bin:/bin", "HOME": str(self.place), "LANG": "C.UTF-8", "JAVA_HOME": java,
                          "ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0"}

    def run(self, *arguments, text=True, stdin=""):
        """The finished process of the tool."""
        program = self.build / "bin/ferrolink"

        def prepare():
            for act in self.before:
                act()

        return subprocess.run([program, *arguments], env=self.variables, cwd=self.current, text=text, input=stdin,
                              capture_output=True, check=False, timeout=240, preexec_fn=prepare)

    def examine(self):
        """Exit code and findings of the doctor."""
        done = self.run(*self.launcher, "doctor", "--json", *self.arguments, stdin=self.stdin)
        try:
            return done.returncode, json.loads(done.stdout)["findings"]
        except ValueError as error:
            raise AssertionError(f"exit code {done.returncode}, no JSON: {done.stdout}{done.stderr}") from error

    def copy_tree(self, name="tree"):
        """An installation of its own, which the tool is told to use. Files are linked until they are changed."""
        self.tree = self.place / name
        for folder in (LIBRARIES, "Binaries/Jvm"):
            (self.tree / folder).mkdir(parents=True)
            for file in (self.build / folder).iterdir():
                os.link(file, self.tree / folder / file.name)
        self.variables["FERROLINK_HOME"] = str(self.tree)
        return self.tree

    def replace(self, file, contents):
        """Replaces a file of the copied installation."""
        path = self.tree / file
        path.unlink()
        path.write_bytes(contents)

    def library(self, name):
        return f"{LIBRARIES}/{name}"

    def java_home(self, contents):
        """A Java home whose libjvm.so has these bytes."""
        library = self.place / "java/lib/server/libjvm.so"
        library.parent.mkdir(parents=True)
        library.write_bytes(contents)
        return str(self.place / "java")

    def archive(self, name, entries):
        """An archive on the class path."""
        path = self.place / name
        with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as target:
            for entry, contents in entries.items():
                target.writestr(entry, contents)
        self.arguments += ["--class-path", str(path)]
        return path

    def rewrite_archive(self, change):
        """Replaces the installation's archive by one whose entries went through change(name, contents)."""
        copy = self.place / "changed.jar"
        with zipfile.ZipFile(self.tree / ARCHIVE) as source, zipfile.ZipFile(copy, "w") as target:
            for name in source.namelist():
                target.writestr(name, change(name, source.read(name)))
        self.replace(ARCHIVE, copy.read_bytes())

    def control_groups(self, memory="max", pids="max", threads=0):
        """Control groups of both versions, with limits at their root."""
        root = self.place / "groups"
        for folder, file, value in (("", "memory.max", memory), ("", "pids.max", pids),
                                    ("memory", "memory.limit_in_bytes", memory), ("pids", "pids.max", pids),
                                    ("", "pids.current", threads), ("pids", "pids.current", threads)):
            (root / folder).mkdir(parents=True, exist_ok=True)
            (root / folder / file).write_text(f"{value}\n")
        self.arguments += ["--control-groups", str(root)]

    def remove(self):
        shutil.rmtree(self.place, ignore_errors=True)


def become_usual():
    """Lets the superuser read and look at no more than what file modes and owners allow."""
    has_power, drop_power = 23, 24  # PR_CAPBSET_READ, PR_CAPBSET_DROP
    # CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH, CAP_SYS_PTRACE; CAP_SYS_ADMIN and CAP_PERFMON, with either of which later
    # kernels show the maps of every process.
    for power in (1, 2, 19, 21, 38):
        if (os.geteuid() == 0 and C_LIBRARY.prctl(has_power, power, 0, 0, 0) == 1
                and C_LIBRARY.prctl(drop_power, power, 0, 0, 0) != 0):
            raise OSError(ctypes.get_errno(), "prctl")


def stranger_may_run(program):
    """Whether this process may become the stranger, and the stranger may run the program."""
    try:
        return subprocess.run(["test", "-x", program], user=STRANGER, check=False).returncode == 0
    except (OSError, subprocess.SubprocessError):
        return False


def stranger_may_own():
    """Whether this process may give files to the stranger."""
    with tempfile.NamedTemporaryFile() as file:
        try:
            os.chown(file.name, STRANGER, -1)
        except OSError:
            return False
    return True


def elf_header(bits, machine):
    """The beginning of a library for another machine."""
    ident = b"\x7fELF" + bytes([2 if bits == 64 else 1, 1, 1]) + bytes(9)
    return ident + struct.pack("<HHI", 3, machine, 1) + bytes(100)


def class_file(java, text=b""):
    """Bytes that a reader takes for a class built for that Java."""
    return b"\xca\xfe\xba\xbe" + struct.pack(">HH", 0, 44 + java) + text
