package com.ferrolink.bench;

import java.lang.foreign.Linker;
import java.lang.foreign.MemorySegment;
import java.lang.invoke.MethodHandle;

/**
 * The same without a copy: the function accesses the Java heap. It must not call Java, and it blocks the
 * garbage collector until it returns.
 */
final class ForeignFunctionCritical extends EchoPeer {

    private static final MethodHandle ECHO = ForeignFunction.find(Linker.Option.critical(true));

    ForeignFunctionCritical() {
        super("JDK foreign functions, critical");
    }

    @Override
    void run(long calls) throws Throwable {
        for (long i = 0; i < calls; i++) {
            int ignored = (int) ECHO.invokeExact(MemorySegment.ofArray(command), command.length,
                    MemorySegment.ofArray(answer));
        }
    }
}
