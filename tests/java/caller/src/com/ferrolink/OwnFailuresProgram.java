package com.ferrolink;

import com.ferrolink.core.transmitter.TransmitterWrapper;
import java.util.List;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.function.IntSupplier;

/** Threads whose native calls fail differently, and which ask for the text when all have failed. */
public final class OwnFailuresProgram {

    private static final int THREADS = 8;
    private static final int ROUNDS = 50;

    private static final List<String> TEXTS = List.of(
            "JVM Lib: Exception code 002. Command byte array is null",
            "basic_string::_M_construct null not valid",
            "Ferrolink Native Exception: Exception code 020. \nNo channel selected",
            "Ferrolink Native Exception: Exception code 023.");

    private static final List<IntSupplier> FAILURES = List.of(
            () -> TransmitterWrapper.sendCommand(null),
            () -> TransmitterWrapper.setWorkingDirectory(null),
            () -> TransmitterWrapper.readResponse(new byte[1]),
            () -> TransmitterWrapper.sendCommand(new byte[] {8, 0, 9, 0, 0, 0, 0, 0, 0, 2, 11}));

    private OwnFailuresProgram() {
    }

    /** Prints how many texts were the thread's own. */
    public static void main(String[] arguments) throws Exception {
        CyclicBarrier failed = new CyclicBarrier(THREADS);
        AtomicInteger own = new AtomicInteger();
        Threads.onEach(THREADS, false, thread -> {
            int kind = thread % FAILURES.size();
            for (int round = 0; round < ROUNDS; round++) {
                FAILURES.get(kind).getAsInt();
                failed.await(60, TimeUnit.SECONDS);
                own.addAndGet(TEXTS.get(kind).equals(TransmitterWrapper.getNativeError()) ? 1 : 0);
                failed.await(60, TimeUnit.SECONDS);
            }
        });
        System.out.println(own + " of " + THREADS * ROUNDS);
    }
}
