"""Runs programs with a time limit that includes their children."""
import dataclasses
import os
import signal
import subprocess
import tempfile


@dataclasses.dataclass
class Ended:
    exit_code: int  # negative for signals, as in subprocess
    timed_out: bool
    output: str

    def __str__(self):
        if self.timed_out:
            return "timed out"
        return f"signal {-self.exit_code}" if self.exit_code < 0 else f"exit code {self.exit_code}"


def run(command, limit, environment, directory=None):
    """Runs a program in a process group of its own, and kills the group after `limit` seconds."""
    with tempfile.TemporaryFile() as output:
        with subprocess.Popen(command, env=environment, cwd=directory, stdin=subprocess.DEVNULL,
                              stdout=output, stderr=subprocess.STDOUT,
                              start_new_session=True) as process:
            try:
                process.wait(limit)
                timed_out = False
            except subprocess.TimeoutExpired:
                timed_out = True
            _kill_group(process.pid)  # remaining children
        output.seek(0)
        return Ended(process.returncode, timed_out, output.read().decode(errors="replace"))


def _kill_group(group):
    try:
        os.killpg(group, signal.SIGKILL)
    except ProcessLookupError:
        pass
