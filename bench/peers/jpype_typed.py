"""The peer of typed calls: JPype does the same work. Serves lines "WORK CALLS" with the thread's CPU time."""
import sys
import time

import jpype


def works():
    """In the order of bench/calljava/Typed.h."""
    string = jpype.JClass("java.lang.String")
    math = jpype.JClass("java.lang.Math")
    array_list = jpype.JClass("java.util.ArrayList")
    numbers = jpype.JClass("com.ferrolink.bench.Numbers")
    text = string("a text of 24 characters.")
    many = memoryview(bytes(8 << 17)).cast("d")
    doubles = jpype.JDouble[:]
    return [
        text.length,
        lambda: math.max(3, 4),
        lambda: str(text.concat(" and 17 more here")),
        array_list,
        lambda: numbers.sum(doubles(many)),
        lambda: memoryview(numbers.many()).tobytes(),
    ]


def main():
    archive, options = sys.argv[1], sys.argv[2:]
    # Debian installs the Java part of JPype separately.
    jpype.startJVM(*options, classpath=[archive, "/usr/share/java/org.jpype.jar"], convertStrings=False)
    served = works()
    for line in sys.stdin:
        work, calls = map(int, line.split())
        call = served[work]
        begin = time.thread_time_ns()
        for _ in range(calls):
            call()
        print("=", time.thread_time_ns() - begin, flush=True)


main()
