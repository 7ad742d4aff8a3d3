package com.ferrolink;

import java.time.Duration;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;

/** Calls itself with time limits through the native library, and ends while a call goes on. */
public final class DeadlineProgram {

    private static final Ferrolink JVM = Ferrolink.inMemory(RuntimeId.JVM);
    private static final Duration LONG = Duration.ofMinutes(2);
    private static final Duration SHORT = Duration.ofMillis(50);

    private static volatile CountDownLatch hanging = new CountDownLatch(1);

    private DeadlineProgram() {
    }

    /** Prints what comes back. */
    public static void main(String[] arguments) throws Exception {
        printFailure(() -> JVM.call("early", new byte[1], LONG));
        Ferrolink.onCommand(DeadlineProgram::answer);
        System.out.println(JVM.call("size", new byte[1 << 20], LONG)[0]);
        System.out.println(JVM.call("nest", new byte[] {40}, LONG).length);
        System.out.println(gaveUp());
        System.out.println(JVM.call("size", new byte[7], LONG)[0]);
        hanging.countDown();
        hanging = new CountDownLatch(1);
        AtomicInteger right = new AtomicInteger();
        Threads.onEach(8, true, thread -> {
            for (int number = 0; number < 300; number++) {
                right.addAndGet(number % 100 == 50 && gaveUp()
                        || JVM.call("size", new byte[number % 99], LONG)[0] == number % 99 ? 1 : 0);
            }
        });
        System.out.println(right.get());
        System.out.println(gaveUp());
    }

    private static byte[] answer(byte[] command) throws Exception {
        byte[] payload = CommandListener.payloadOf(command);
        switch (CommandListener.handlerOf(command)) {
            case "hang":
                hanging.await(2, TimeUnit.MINUTES);
                return CommandListener.reply(command, new byte[] {-1});
            case "nest":
                byte[] inner = payload[0] == 0 ? new byte[0]
                        : JVM.call("nest", new byte[] {(byte) (payload[0] - 1)}, LONG);
                return CommandListener.reply(command, new byte[inner.length + 1]);
            default:
                return CommandListener.reply(command, new byte[] {(byte) payload.length});
        }
    }

    /** On a busy machine the time may be over before a thread has begun the call: then again. */
    private static boolean gaveUp() {
        while (true) {
            try {
                JVM.call("hang", new byte[1], SHORT);
                return false;
            } catch (DeadlineExceededException expected) {
                if (expected.mayHaveExecuted()) {
                    return true;
                }
            }
        }
    }

    private static void printFailure(Runnable call) {
        try {
            call.run();
            System.out.println("no failure");
        } catch (FerrolinkException failure) {
            System.out.println(failure.getClass().getSimpleName() + " " + failure.code() + " "
                    + failure.mayHaveExecuted());
        }
    }
}
