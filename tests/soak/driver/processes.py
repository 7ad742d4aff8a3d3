"""The four processes of a soak, and the figures that they report."""
import json
import os
import pathlib
import signal
import subprocess
import time

# Keeps the JVM's own growth out of the figures: the heap has a fixed size and is touched at the start,
# the number of compiler threads is fixed, and there is one collector thread.
JAVA_OPTIONS = ("-Xms64m -Xmx64m -XX:+AlwaysPreTouch -XX:+UseSerialGC -XX:NativeMemoryTracking=summary "
                "-XX:-UseDynamicNumberOfCompilerThreads -XX:-UsePerfData")
PATIENCE_SECONDS = 120
FRAME_LIMIT = 3 << 20
NAMES = ("host", "java", "server-cpp", "server-jvm")


class Ended(Exception):
    """A process ended or does not answer, unexpectedly."""


class Process:
    """A child process whose output goes to files. It is killed if this process dies."""

    def __init__(self, name, command, directory, environment):
        self.name = name
        self.directory = pathlib.Path(directory) / name
        self.directory.mkdir(parents=True, exist_ok=True)
        self.errors = self.directory / "stderr"
        self._out = open(self.directory / "stdout", "wb")
        with open(self.errors, "wb") as errors:
            self.child = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", "--", *command], cwd=self.directory,
                env=environment, stdin=subprocess.PIPE, stdout=self._out, stderr=errors)
        self._read = open(self.directory / "stdout", "rb")
        self._begun = b""

    @property
    def pid(self):
        return self.child.pid

    def line_with(self, mark):
        """The text behind `mark` in the next line that has it."""
        mark, deadline = mark.encode(), time.monotonic() + PATIENCE_SECONDS
        while time.monotonic() < deadline:
            self._begun += self._read.readline()
            if self._begun.endswith(b"\n"):
                line, self._begun = self._begun, b""
                if mark in line:
                    return line.split(mark, 1)[1].decode().strip()
                continue
            if self.child.poll() is not None:
                raise Ended(f"{self.name} ended with {self.child.returncode}: {self.last_words()}")
            time.sleep(0.005)
        raise Ended(f"{self.name} does not answer: {self.last_words()}")

    def last_words(self):
        return self.errors.read_text(errors="replace")[-2000:].strip()

    def order(self, text):
        try:
            self.child.stdin.write(text.encode() + b"\n")
            self.child.stdin.flush()
        except BrokenPipeError:
            pass  # line_with tells why

    def end(self, patience):
        """The exit code; None if it had to be killed."""
        try:
            return self.child.wait(patience)
        except subprocess.TimeoutExpired:
            self.child.kill()
            self.child.wait()
            return None
        finally:
            self.child.stdin.close()
            self._out.close()
            self._read.close()


class Soak:
    """Both programs and both servers of a soak."""

    def __init__(self, build, directory, java_home, plant):
        self._build, self._directory = pathlib.Path(build).resolve(), pathlib.Path(directory)
        soak = self._build / "tests/soak"
        self._java_home, self._archive = java_home, soak / "SoakPrograms.jar"
        self._plant = plant
        self._plug_ins = [self._build / "tests/calls/libCallHandlers.so", soak / "libSoakHandlers.so"]
        self._environment = self._environment_for(java_home)
        self.processes = {}

    def start(self):
        soak = self._build / "tests/soak"
        self._directory.mkdir(parents=True, exist_ok=True)
        subprocess.run([soak / "soak-certificate", self._directory], check=True)
        plug_in_options = [word for path in self._plug_ins for word in ("--plug-in", path)]
        tcp = self._server("server-cpp", "cpp", plug_in_options)
        tls = self._server("server-jvm", "jvm", [
            "--plug-in", self._archive, "--tls-certificate", self._directory / "certificate",
            "--tls-key", self._directory / "key"])
        self._start("host", [soak / "soak-host", self._build, self._archive, tcp, tls, self._plant,
                             *self._plug_ins])
        runtime = self._build / "Binaries/Jvm/FerrolinkJvmRuntime.jar"
        self._start("java", [f"{self._java_home}/bin/java", "-cp", f"{runtime}:{self._archive}",
                             "com.ferrolink.soak.JavaSoak", tcp, tls])

    def _environment_for(self, java_home):
        environment = {name: value for name, value in os.environ.items()
                       if not name.startswith("FERROLINK_")}
        with open(f"{java_home}/release", encoding="utf-8") as release:
            modern = any(line.startswith('JAVA_VERSION="') and int(line.split('"')[1].split(".")[0]) >= 17
                         for line in release)
        environment.update({
            "JAVA_HOME": java_home,
            "JAVA_TOOL_OPTIONS": JAVA_OPTIONS + (" --enable-native-access=ALL-UNNAMED" if modern else ""),
            # malloc_trim, called before each sample, returns only a part of further arenas.
            "MALLOC_ARENA_MAX": "1",
            "FERROLINK_HOME": str(self._build),
            "FERROLINK_LOGGING_LEVEL": "off",
            "FERROLINK_TLS_CA_FILE": str(self._directory / "certificate"),
            "SOAK_PLUG_INS": ":".join(map(str, self._plug_ins)),
        })
        return environment

    def _start(self, name, command):
        process = Process(name, [str(word) for word in command], self._directory, self._environment)
        self.processes[name] = process
        return process

    def _server(self, name, runtime, options):
        server = self._start(name, [self._build / "bin/ferrolink-server", "--runtime", runtime,
                                    "--listen", "127.0.0.1:0", "--max-frame-bytes", FRAME_LIMIT, *options])
        return server.line_with(" listens on ").split(" ")[0].split(":")[1]

    def quiesce(self):
        """Pauses the work. Returns ({process: figures}, {program: counts}). All programs rest before the
        first one is asked, because the servers work for both."""
        programs = [self.processes[name] for name in ("host", "java")]
        for program in programs:
            program.order("rest")
        for program in programs:
            program.line_with("SOAK rests")
        for program in programs:
            program.order("sample")
        told = [json.loads(program.line_with("SOAK ")) for program in programs]
        figures = {name: answer[name] for answer in told for name in NAMES if name in answer}
        return figures, dict(zip(("host", "java"), told))

    def resume(self):
        for name in ("host", "java"):
            self.processes[name].order("go")

    def end(self):
        """{name: exit code} of the processes that did not end with 0."""
        for name in ("host", "java"):
            if name in self.processes:
                self.processes[name].order("end")
        codes = {name: self.processes[name].end(PATIENCE_SECONDS)
                 for name in ("host", "java") if name in self.processes}
        for name in ("server-cpp", "server-jvm"):
            if name in self.processes:
                self.processes[name].child.send_signal(signal.SIGTERM)
                codes[name] = self.processes[name].end(PATIENCE_SECONDS)
        return {name: code for name, code in codes.items() if code != 0}

    def kill(self):
        for process in self.processes.values():
            if process.child.poll() is None:
                process.child.kill()
                process.end(PATIENCE_SECONDS)
