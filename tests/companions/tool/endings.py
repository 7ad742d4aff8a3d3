"""The cases of runs that end early. Each gets a machine, and a function that runs a server."""
import contextlib
import errno
import os
import pathlib
import re
import signal
import socket
import subprocess


def same(got, wanted):
    assert got == wanted, f"{got!r} instead of {wanted!r}"


def call_ended_by_a_signal(machine, _):
    """A signal that ends the tool ends the call, and the tool ends by it."""
    machine.variables["TMPDIR"] = str(machine.place)
    before = sorted(machine.place.rglob("*"))
    with socket.create_server(("127.0.0.1", 0)) as silent:
        with subprocess.Popen([machine.build / "bin/ferrolink", "call", "--runtime", "cpp", "--at",
                               f"tcp://127.0.0.1:{silent.getsockname()[1]}", "x", ""], env=machine.variables,
                              cwd=machine.current) as process:
            with silent.accept()[0] as connection:
                process.terminate()
                process.wait()
                while connection.recv(4096):  # to the end: nobody holds the other side any more
                    pass
    same(process.returncode, -signal.SIGTERM)
    same(sorted(machine.place.rglob("*")), before)


@contextlib.contextmanager
def with_java_at_a_stop(machine, *arguments, ignored=()):
    """A process of the tool and the connection of its JVM, which has started and waits for this debugger."""
    def ignore():
        for number in ignored:
            signal.signal(number, signal.SIG_IGN)
    with socket.create_server(("127.0.0.1", 0)) as debugger:
        options = f"-agentlib:jdwp=transport=dt_socket,address=127.0.0.1:{debugger.getsockname()[1]}"
        with subprocess.Popen([machine.build / "bin/ferrolink", *arguments], cwd=machine.current, preexec_fn=ignore,
                              env={**machine.variables, "JAVA_TOOL_OPTIONS": options}, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
            try:
                with debugger.accept()[0] as connection:
                    yield process, connection
            finally:
                process.kill()


def ends(connection):
    """Whether the other side is gone soon."""
    connection.settimeout(60)
    try:
        while connection.recv(4096):
            pass
    except TimeoutError:
        return False
    return True


def call_ended_after_a_signal(machine, _):
    """A signal that the call survives is not the reason why it ends later."""
    machine.variables["TMPDIR"] = "/nowhere"
    for number, ignored in ((signal.SIGQUIT, ()), (signal.SIGHUP, (signal.SIGHUP,))):
        with with_java_at_a_stop(machine, "call", "echo", "x", ignored=ignored) as (process, connection):
            same(list(machine.current.iterdir()), [])
            process.send_signal(number)
            child = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text()
            os.kill(int(child), signal.SIGKILL)
            errors = process.communicate()[1]
            same(process.returncode, 1)
            assert "ended its process: signal 9 (Killed)" in errors, errors
            assert ends(connection)


def ignores(status, number):
    """Whether the process of that /proc/PID/status ignores a signal."""
    mask = re.search(r"^SigIgn:\s*([0-9a-f]+)$", status, re.M)[1]
    return int(mask, 16) >> (number - 1) & 1 == 1


def ignored_ends_of_children(machine, _):
    """Who ignores SIGCHLD passes that on to the program of run and to the call. The tool waits for its own children."""
    for ignored in ((), (signal.SIGCHLD,)):
        with with_java_at_a_stop(machine, "call", "echo", "x", ignored=ignored) as (process, _):
            child = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().strip()
            status = pathlib.Path(f"/proc/{child}/status").read_text()
            same(("call", ignored, ignores(status, signal.SIGCHLD)), ("call", ignored, bool(ignored)))
            os.kill(int(child), signal.SIGKILL)
            errors = process.communicate()[1]
            same(process.returncode, 1)
            assert "ended its process: signal 9 (Killed)" in errors, errors
        machine.before = [lambda: [signal.signal(number, signal.SIG_IGN) for number in ignored]]
        status = machine.run("run", "--", "cat", "/proc/self/status").stdout
        same(("run", ignored, ignores(status, signal.SIGCHLD)), ("run", ignored, bool(ignored)))
    same(machine.run("call", "echo", "hello").stdout, "hello")
    same(machine.examine(), (0, []))


def call_without_a_reader(machine, _):
    """An answer that nobody reads is an error that says so, in each runtime."""
    plug_in = ["--plug-in", os.environ["TOOL_TEST_PLUG_IN"], "plug-in upper"]
    for arguments in (["--runtime", "cpp", *plug_in], ["--runtime", "jvm", "echo"]):
        reader, writer = os.pipe()
        os.close(reader)
        done = subprocess.run([machine.build / "bin/ferrolink", "call", *arguments, "x"], env=machine.variables,
                              cwd=machine.current, stdout=writer, stderr=subprocess.PIPE, text=True, check=False)
        os.close(writer)
        same((done.returncode, done.stderr), (1, "ferrolink: Cannot write to standard output: Broken pipe\n"))


def trial_ended_by_a_signal(machine, _):
    """The JVM of a trial ends with the tool. A signal that can be caught leaves no file either."""
    machine.variables["TMPDIR"] = str(machine.place)
    before = sorted(machine.place.rglob("*"))
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGKILL):
        for command in ("info", "doctor"):
            with with_java_at_a_stop(machine, command) as (process, connection):
                process.send_signal(number)
                process.wait()
                assert ends(connection), f"{command}: a JVM stays after {number}"
                same((command, process.returncode, process.stderr.read()), (command, -number, ""))
            if number != signal.SIGKILL:
                same(sorted(machine.place.rglob("*")), before)


def opened_once_read(pipe, process):
    """The writing end of a pipe, once somebody reads. Fails if the process ends before."""
    while process.poll() is None:
        try:
            return os.fdopen(os.open(pipe, os.O_WRONLY | os.O_NONBLOCK), "wb")
        except OSError as error:
            assert error.errno == errno.ENXIO, error
            os.sched_yield()
    raise AssertionError(f"the doctor ended with {process.returncode} and did not open {pipe}")


@contextlib.contextmanager
def with_doctor_at_a_library(machine, *arguments):
    """A doctor that opens a library without end, and its terminal."""
    pipe = machine.place / "libnix.so.3"
    os.mkfifo(pipe)
    ours, terminal = os.openpty()
    with subprocess.Popen([machine.build / "bin/ferrolink", "doctor", "--no-start", *arguments], stderr=terminal,
                          env=machine.variables, cwd=machine.current, stdout=subprocess.DEVNULL) as process:
        os.close(terminal)
        try:
            with opened_once_read(pipe, process):
                yield process, ours
        finally:
            process.kill()
            os.close(ours)
            pipe.unlink()


def doctor_shows_what_it_opens(machine, _):
    """What takes longer than a second is named on a terminal, but not with --json."""
    library = (machine.build / machine.library("libFerrolinkTcpTlsClient.so")).read_bytes()
    home = machine.java_home(library.replace(b"libssl.so.3\0", b"libnix.so.3\0"))
    machine.variables.update(JAVA_HOME=home, LD_LIBRARY_PATH=str(machine.place))
    with with_doctor_at_a_library(machine) as (_, terminal):
        wanted, shown = f"Opening {home}/lib/server/libjvm.so ...", ""
        with contextlib.suppress(OSError):  # the doctor has ended
            while wanted not in shown:
                shown += os.read(terminal, 4096).decode()
        assert wanted in shown, f"no '{wanted}' in: {shown}"
    with with_doctor_at_a_library(machine, "--json") as (process, _):
        same(os.listdir(f"/proc/{process.pid}/task"), [str(process.pid)])  # no thread waits for the second


CASES = (call_ended_by_a_signal, call_ended_after_a_signal, ignored_ends_of_children, call_without_a_reader,
         trial_ended_by_a_signal, doctor_shows_what_it_opens)
