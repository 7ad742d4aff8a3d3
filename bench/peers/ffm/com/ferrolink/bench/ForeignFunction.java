package com.ferrolink.bench;

import java.lang.foreign.Arena;
import java.lang.foreign.FunctionDescriptor;
import java.lang.foreign.Linker;
import java.lang.foreign.MemorySegment;
import java.lang.foreign.SymbolLookup;
import java.lang.foreign.ValueLayout;
import java.lang.invoke.MethodHandle;
import java.nio.file.Path;

/** The JDK's foreign-function interface. Each call copies the bytes to native memory that it allocates. */
final class ForeignFunction extends EchoPeer {

    private static final MethodHandle ECHO = find();

    ForeignFunction() {
        super("JDK foreign functions");
    }

    static MethodHandle find(Linker.Option... options) {
        return Linker.nativeLinker().downcallHandle(
                SymbolLookup.libraryLookup(Path.of(LIBRARY), Arena.global()).find("bench_echo").orElseThrow(),
                FunctionDescriptor.of(ValueLayout.JAVA_INT, ValueLayout.ADDRESS, ValueLayout.JAVA_INT,
                        ValueLayout.ADDRESS),
                options);
    }

    @Override
    void run(long calls) throws Throwable {
        for (long i = 0; i < calls; i++) {
            try (Arena arena = Arena.ofConfined()) {
                MemorySegment in = arena.allocateFrom(ValueLayout.JAVA_BYTE, command);
                MemorySegment out = arena.allocate(command.length);
                int length = (int) ECHO.invokeExact(in, command.length, out);
                MemorySegment.copy(out, ValueLayout.JAVA_BYTE, 0, answer, 0, length);
            }
        }
    }
}
