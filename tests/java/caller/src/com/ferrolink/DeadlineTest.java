package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.ByteBuffer;
import java.time.Duration;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.Semaphore;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("A call with a time limit")
final class DeadlineTest {

    private static final byte[] NOTHING = {};
    private static final Duration LONG = Duration.ofHours(1);
    private static final Duration SHORT = Duration.ofMillis(20);
    private static final String HANGING = "hang";

    private final FakeCalls calls = new FakeCalls();
    private final CountDownLatch ending = new CountDownLatch(1);
    private final Semaphore begun = new Semaphore(0);
    private final TimedThreads one = new TimedThreads(1);
    private final Ferrolink inMemory = to(Target.inMemory(RuntimeId.CPP), new TimedThreads(64));
    private final Ferrolink overTcp = to(Target.tcp(RuntimeId.CPP, "10.0.0.7", 1), one);

    private Ferrolink to(Target target, TimedThreads threads) {
        calls.responder = this::respond;
        return new Ferrolink(target, calls, PlatformThreads.shared(), threads);
    }

    /** The handler "hang" goes on until the test ends; others answer with their payload at once. */
    private byte[] respond(byte[] command) {
        if (HANGING.equals(CommandListener.handlerOf(command))) {
            begun.release();
            await(ending);
        }
        return Responses.of(0, CommandListener.payloadOf(command));
    }

    private static void await(CountDownLatch latch) {
        try {
            assertTrue(latch.await(60, TimeUnit.SECONDS));
        } catch (InterruptedException unexpected) {
            throw new AssertionError(unexpected);
        }
    }

    @AfterEach
    void end() {
        ending.countDown();
    }

    private static DeadlineExceededException failure(Ferrolink ferrolink, String handler, Duration limit) {
        return assertThrows(DeadlineExceededException.class, () -> ferrolink.call(handler, NOTHING, limit));
    }

    /**
     * The failure of a call that was begun. On a busy machine the deadline may pass before a thread has
     * begun it.
     */
    private static DeadlineExceededException failureOfHanging(Ferrolink ferrolink) {
        DeadlineExceededException failure = failure(ferrolink, HANGING, SHORT);
        while (!failure.mayHaveExecuted()) {
            assertNotSent("20 ms", failure);
            failure = failure(ferrolink, HANGING, SHORT);
        }
        return failure;
    }

    private static void assertNotSent(String limit, DeadlineExceededException failure) {
        assertEquals("The call's time of " + limit + " was over before it was sent. Nothing was executed.",
                failure.getMessage());
        assertFalse(failure.mayHaveExecuted());
        assertEquals(-1, failure.code());
    }

    @Test
    @DisplayName("is answered in time, in this process by one other platform thread, a daemon")
    void inTime() {
        assertArrayEquals(new byte[] {1, 2}, inMemory.call("f", new byte[] {1, 2}, LONG));
        assertEquals(2, calls.threads.size());
        assertSame(calls.threads.get(0), calls.threads.get(1));
        Thread used = calls.threads.get(0);
        assertNotSame(Thread.currentThread(), used);
        assertTrue(used.isDaemon());
        assertTrue(used.getName().startsWith("ferrolink-timed-"), used.getName());
        assertSame(Ferrolink.class.getClassLoader(), used.getContextClassLoader());
        assertArrayEquals(new byte[] {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 2, 1, 'f', 1, 2}, calls.onlyCommand());
    }

    @Test
    @DisplayName("goes over a network on the caller's thread and takes the time that is left with it")
    void overNetwork() {
        assertArrayEquals(new byte[] {1, 2}, overTcp.call("f", new byte[] {1, 2}, LONG));
        assertEquals(List.of(Thread.currentThread(), Thread.currentThread()), calls.threads);
        byte[] command = calls.onlyCommand();
        assertArrayEquals(new byte[] {8, 0, 1, 10, 0, 0, 7, 1, 0, 2, 3}, Arrays.copyOf(command, 11));
        assertArrayEquals(new byte[] {1, 'f', 1, 2}, Arrays.copyOfRange(command, 15, command.length));
        int left = ByteBuffer.wrap(command).getInt(11);
        assertTrue(left > 0 && left <= 3_600_000, Integer.toString(left));
    }

    @Test
    @DisplayName("of a virtual thread goes over a network on a platform thread")
    void virtualCaller() throws Exception {
        assertArrayEquals(NOTHING, Threads.onVirtualThread(() -> overTcp.call("f", NOTHING, LONG)));
        assertEquals(1, Set.copyOf(calls.threads).size());
        assertFalse(PlatformThreads.isVirtual(calls.threads.get(0)));
    }

    @ParameterizedTest
    @ValueSource(longs = {0, -1, Long.MIN_VALUE})
    @DisplayName("of no time is over at once, and nothing is sent")
    void noTime(long nanoseconds) {
        assertNotSent("0 ms", failure(inMemory, "f", Duration.ofNanos(nanoseconds)));
        assertNotSent("0 ms", failure(overTcp, "f", Duration.ofNanos(nanoseconds)));
        assertTrue(calls.sent.isEmpty());
    }

    @ParameterizedTest
    @ValueSource(longs = {4_294_967, 4_294_968, Long.MAX_VALUE})
    @DisplayName("of more than 49 days counts as that")
    void longTime(long seconds) {
        overTcp.call("f", NOTHING, Duration.ofSeconds(seconds));
        inMemory.call("f", NOTHING, Duration.ofSeconds(seconds));
        long left = ByteBuffer.wrap(calls.sent.get(0)).getInt(11) & 0xFFFF_FFFFL;
        assertTrue(left > 4_294_000_000L, Long.toString(left));
        assertEquals(2, calls.sent.size());
    }

    @Test
    @DisplayName("says less than a millisecond as one, since none is for no time")
    void littleTime() {
        byte[] command = CommandBuilder.callWithin(overTcp.target(), "f", NOTHING);
        CommandBuilder.setTimeLeft(command, 0x0102_0304L);
        assertArrayEquals(new byte[] {1, 2, 3, 4}, Arrays.copyOfRange(command, 11, 15));
        CommandBuilder.setTimeLeft(command, Deadline.LONGEST_MILLISECONDS);
        assertArrayEquals(new byte[] {-1, -1, -1, -1}, Arrays.copyOfRange(command, 11, 15));
        assertEquals("1 ms", Deadline.after(Duration.ofNanos(1)).toString());
        assertEquals("2 ms", Deadline.after(Duration.ofNanos(1_000_001)).toString());
    }

    @Test
    @DisplayName("whose time is over gives up, while the handler goes on")
    void givesUp() {
        DeadlineExceededException failure = failureOfHanging(inMemory);
        assertEquals("The call's time of 20 ms was over before its answer came. It goes on, and its answer"
                + " will be dropped.", failure.getMessage());
        begun.acquireUninterruptibly();
        assertEquals(1, calls.sent.size());
        assertEquals(1, calls.threads.size());
    }

    @Test
    @DisplayName("never gets the answer of one that was given up on the same thread before it")
    void lateAnswer() {
        Ferrolink onOneThread = to(Target.inMemory(RuntimeId.CPP), one);
        failureOfHanging(onOneThread);
        ending.countDown();
        for (byte number = 0; number < 100; number++) {
            assertArrayEquals(new byte[] {number}, onOneThread.call("f", new byte[] {number}, LONG));
        }
        assertEquals(101, calls.buffers.size());
    }

    @Test
    @DisplayName("is never sent where no thread was free in time")
    void noThread() {
        Ferrolink onOneThread = to(Target.inMemory(RuntimeId.CPP), one);
        failureOfHanging(onOneThread);
        for (int count = 0; count < 5; count++) {
            assertNotSent("20 ms", failure(onOneThread, "f", SHORT));
        }
        ending.countDown();
        onOneThread.call("last", NOTHING, LONG);
        assertEquals(2, calls.sent.size());
    }

    @Test
    @DisplayName("is not ended by an interrupt, which is there again afterwards")
    void interrupted() {
        Thread.currentThread().interrupt();
        assertArrayEquals(NOTHING, inMemory.call("f", NOTHING, LONG));
        assertTrue(Thread.interrupted());
        Thread.currentThread().interrupt();
        failureOfHanging(inMemory);
        assertTrue(Thread.interrupted());
    }

    @Test
    @DisplayName("ends with whatever the native calls throw, on the caller's frames")
    void throwing() {
        Error error = new UnsatisfiedLinkError("y");
        calls.responder = command -> {
            throw error;
        };
        assertSame(error, assertThrows(UnsatisfiedLinkError.class,
                () -> inMemory.call("f", NOTHING, LONG)));
        calls.responder = command -> null;
        calls.error = "Ferrolink Native Exception: Exception code 023.";
        FerrolinkException failure =
                assertThrows(FerrolinkException.class, () -> inMemory.call("f", NOTHING, LONG));
        assertEquals(23, failure.code());
        assertTrue(Arrays.stream(failure.getStackTrace())
                .anyMatch(frame -> frame.getClassName().equals(DeadlineTest.class.getName())));
    }

    @ParameterizedTest
    @CsvSource({"9, false", "10, true"})
    @DisplayName("fails in the same way where the network's client gives up")
    void clientGivesUp(int code, boolean mayHaveExecuted) {
        calls.responder = command -> null;
        calls.error = String.format("Network Client: Exception code %03d.%nThe time was over.", code);
        DeadlineExceededException failure = failure(overTcp, "f", LONG);
        assertEquals(calls.error, failure.getMessage());
        assertEquals("Network Client", failure.prefix());
        assertEquals(code, failure.code());
        assertEquals("The time was over.", failure.text());
        assertEquals(mayHaveExecuted, failure.mayHaveExecuted());
    }

    @Test
    @DisplayName("needs a duration, a handler and a payload")
    void nulls() {
        assertEquals("limit", assertThrows(NullPointerException.class,
                () -> inMemory.call("f", NOTHING, null)).getMessage());
        assertEquals("payload", assertThrows(NullPointerException.class,
                () -> overTcp.call("f", null, LONG)).getMessage());
        assertThrows(IllegalArgumentException.class, () -> overTcp.call("", NOTHING, LONG));
        inMemory.close();
        assertThrows(IllegalStateException.class, () -> inMemory.call("f", NOTHING, LONG));
        assertTrue(calls.sent.isEmpty());
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    @DisplayName("gets its own answer on each of many threads of either kind, whichever are given up")
    void manyThreads(boolean virtual) throws Exception {
        Threads.onEach(8, virtual, thread -> {
            for (int number = 0; number < 2000; number++) {
                byte[] payload = ByteBuffer.allocate(8).putInt(thread).putInt(number).array();
                if (number % 400 == 1) {
                    failureOfHanging(inMemory);
                } else {
                    assertArrayEquals(payload, inMemory.call("f", payload, LONG));
                }
            }
        });
        begun.acquireUninterruptibly(40);
        assertEquals(16_000, calls.sent.size());
    }
}
