"""The aims for the ratios of the tables, per size."""
from settings import SIZES

_RATIOS = {
    "attached": (1.1, 1.08, 1.02, 1.02),
    "attached, clone": (1.1, 1.08, 1.02, 1.02),
    "2 threads": (1.25, 1.25, 1.1, 1.05),
    "8 threads": (1.15,),
    "64 threads": (1.15,),
    "attach and detach": (1.02, 1.02, 1.02, 1.02),
    "Java to C++": (1.1, 1.06, 1.02, 1.02),
}
# The aimed ratio of the interfaces that programs use to JNI by hand with the same bytes, at every size.
_INTERFACES = {"C++ to Java, Host::Call": 1.3, "Java to C++, Ferrolink.call": 1.8}
# The same for typed calls: of members looked up once, and of members named in each call.
_TYPED = {
    "typed, length": {"by id": 3.2, "by name": 4.2},
    "typed, concat": {"by id": 2, "by name": 2},
    "typed, in": {"by id": 1.3, "by name": 1.3},
    "typed, out": {"by id": 1.3, "by name": 1.3},
}
INSTRUCTIONS = 950
WAKE_CALLS = 50  # per 1,000 commands
LOAD_MILLISECONDS = 0.3
START_UP = 1.02
# The aimed ratio of a call with the same framing by hand, and with gRPC, to one of the companions. It
# holds on one processor, so the scheduler does not matter.
NETWORK_BY_HAND = {"plain": 0.85, "TLS": 0.9}
NETWORK_GRPC = {64: 4, 1048576: 1.5}


def at_most(row):
    """The ratio that the row aims at, or None."""
    if row.unit in _TYPED:
        return _TYPED[row.unit].get(row.name)
    if row.name != "ours":
        return None
    if row.unit.startswith("start-up"):
        return START_UP
    if row.unit in _INTERFACES:
        return _INTERFACES[row.unit]
    if row.unit in _RATIOS and row.baseline == "same-sequence":
        return _RATIOS[row.unit][SIZES.index(row.size)]
    return None


def at_least(row):
    """The least ratio of the row's contender to the library, or None."""
    if row.unit == "C++ to Java, peers":
        if row.name == "JPype":
            return 7
        if row.name == "gRPC" and row.size == 64:
            return 100
    if row.unit.startswith("typed") and row.name == "JPype":
        return 1
    if row.unit.startswith("network") and row.unit.endswith("one processor"):
        if row.name == "by hand":
            return NETWORK_BY_HAND["TLS" if "TLS" in row.unit else "plain"]
        if row.name == "gRPC":
            return NETWORK_GRPC.get(row.size)
    return None


def verdict(row):
    """The text of the table's last column."""
    most, least = at_most(row), at_least(row)
    if most is not None:
        return f"≤ {most:.2f}" + ("" if row.ratio.median <= most else ", missed")
    if least is not None:
        return f"≥ {least}" + ("" if row.ratio.median >= least else ", missed")
    return ""
