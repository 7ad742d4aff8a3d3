"""The peer for Python programs: JPype calls the bench's receiver. Serves lines "SIZE CALLS"."""
import sys
import time

import jpype


def main():
    archive, options = sys.argv[1], sys.argv[2:]
    # Debian installs the Java part of JPype separately.
    jpype.startJVM(*options, classpath=[archive, "/usr/share/java/org.jpype.jar"])
    send_command = jpype.JClass("com.ferrolink.core.receiver.Receiver").sendCommand
    for line in sys.stdin:
        size, calls = map(int, line.split())
        message = bytes(size)
        begin = time.perf_counter_ns()
        for _ in range(calls):
            answer = memoryview(send_command(message)).tobytes()
        took = time.perf_counter_ns() - begin
        if answer != message:
            sys.exit("the receiver does not echo")
        print("=", took, flush=True)


main()
