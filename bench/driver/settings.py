"""The amount of measuring, and the paths of the built programs."""
import dataclasses
import os

SIZES = (64, 1024, 65536, 1048576)
# In the order of bench/calljava/Typed.h.
TYPED_WORKS = ("length", "max", "concat", "new", "in", "out")
# Steady state: during measuring the heap neither grows nor is touched for the first time.
HEAP = ["-Xms1g", "-Xmx1g", "-XX:+AlwaysPreTouch"]


@dataclasses.dataclass
class Effort:
    rounds: int = 200
    crowd_rounds: int = 50  # of rows with more threads than processors, whose turns are long
    warm_up: int = 300  # milliseconds of each contender
    batch: int = 2  # milliseconds of each turn
    process_rounds: int = 25  # of rows that interleave whole programs
    start_rounds: int = 30
    load_rounds: int = 60


QUICK = Effort(rounds=25, crowd_rounds=5, warm_up=60, batch=1, process_rounds=5, start_rounds=5, load_rounds=15)


class Build:
    """The files of the build."""

    def __init__(self, root):
        self.root = os.path.abspath(root)
        self.bench = os.path.join(self.root, "bench")
        self.sources = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
        self.archive = os.path.join(self.root, "Binaries/Jvm/FerrolinkJvmRuntime.jar")
        self.native = os.path.join(self.root, "Binaries/Native/Linux/X64")
        self.member = os.path.join(self.native, "libFerrolinkJvmRuntimeNative.so")
        self.receiver_home = self.file("receiver-home")
        self.caller_home = self.file("caller-home")
        self.fake_jvm = os.path.join(self.root, "tests/fakes/jvm/libFakeJvm.so")

    def file(self, name):
        return os.path.join(self.bench, name)

    def has(self, name):
        return os.path.exists(self.file(name))


def environment(java_home):
    """The environment of every program, without the user's variables for the library or the JVM."""
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith(("FERROLINK_", "JAVA_TOOL_OPTIONS", "JDK_JAVA_OPTIONS"))}
    kept.update(JAVA_HOME=java_home, FERROLINK_LOGGING_LEVEL="off")
    return kept
