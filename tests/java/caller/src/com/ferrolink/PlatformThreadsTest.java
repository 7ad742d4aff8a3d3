package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import java.util.HashSet;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicReference;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

@DisplayName("A command and its answer")
final class PlatformThreadsTest {

    private final FakeCalls calls = new FakeCalls();
    private final PlatformThreads threads = new PlatformThreads(2);
    private final Ferrolink ferrolink =
            new Ferrolink(Target.inMemory(RuntimeId.CPP), calls, threads, TimedThreads.shared());

    private static void await(CountDownLatch latch) {
        try {
            assertTrue(latch.await(60, TimeUnit.SECONDS));
        } catch (InterruptedException unexpected) {
            throw new AssertionError(unexpected);
        }
    }

    /** The single thread of all native calls, which is not virtual. */
    private Thread onlyThread() {
        Set<Thread> used = new HashSet<>(calls.threads);
        assertEquals(1, used.size());
        Thread thread = used.iterator().next();
        assertFalse(PlatformThreads.isVirtual(thread));
        return thread;
    }

    @Test
    @DisplayName("stay on the caller's thread if it is a platform thread")
    void platformCaller() throws Exception {
        Thread caller = Threads.onPlatformThread(() -> {
            ferrolink.heartbeat();
            return Thread.currentThread();
        });
        assertSame(caller, onlyThread());
        assertEquals(2, calls.threads.size());
    }

    @Test
    @DisplayName("stay on one platform thread if the caller is virtual, where there are such threads")
    void virtualCaller() throws Exception {
        Thread caller = Threads.onVirtualThread(() -> {
            ferrolink.heartbeat();
            return Thread.currentThread();
        });
        assertEquals(Threads.haveVirtual(), PlatformThreads.isVirtual(caller));
        if (Threads.haveVirtual()) {
            assertTrue(onlyThread().getName().startsWith("ferrolink-platform-"));
        } else {
            assertSame(caller, onlyThread());
        }
        assertEquals(2, calls.threads.size());
    }

    @Test
    @DisplayName("stay there together with the text of a failure, which the caller's frames go with")
    void virtualCallerFailure() throws Exception {
        calls.responder = command -> null;
        calls.error = "JVM Lib: Exception code 002. Command byte array is null";
        FerrolinkException failure = Threads.onVirtualThread(
                () -> assertThrows(FerrolinkException.class, ferrolink::heartbeat));
        assertEquals(2, failure.code());
        onlyThread();
        assertEquals(2, calls.threads.size());
        assertTrue(Arrays.stream(failure.getStackTrace())
                .anyMatch(frame -> frame.getClassName().equals(PlatformThreadsTest.class.getName())));
    }

    @Test
    @DisplayName("are not disturbed by an interrupt, which is there again afterwards")
    void interruptedVirtualCaller() throws Exception {
        calls.responder = command -> Responses.of(0, (byte) 5);
        Threads.onVirtualThread(() -> {
            Thread.currentThread().interrupt();
            assertArrayEquals(new byte[] {5}, ferrolink.call("f", new byte[0]));
            assertTrue(Thread.interrupted());
            assertArrayEquals(new byte[] {5}, ferrolink.call("f", new byte[0]));
            assertFalse(Thread.interrupted());
            return null;
        });
    }

    @Test
    @DisplayName("are not disturbed by an interrupt while the caller waits for the pool")
    void interruptedWhileWaiting() throws Exception {
        AtomicReference<Thread> caller = new AtomicReference<>();
        AtomicInteger interruptedInPool = new AtomicInteger();
        Threads.onPlatformThread(() -> {
            caller.set(Thread.currentThread());
            Exchange exchange = new Exchange(calls, CommandBuilder.heartbeat(ferrolink.target()), null);
            threads.runInPool(() -> {
                caller.get().interrupt();
                exchange.run();
                interruptedInPool.addAndGet(Thread.currentThread().isInterrupted() ? 1 : 0);
            });
            assertTrue(Thread.interrupted());
            assertEquals(11, exchange.response().length);
            return null;
        });
        assertNotSame(caller.get(), onlyThread());
        assertEquals(0, interruptedInPool.get());
    }

    @Test
    @DisplayName("use threads of the pool that are daemons and have the archive's class loader")
    void poolThreads() {
        AtomicReference<Thread> used = new AtomicReference<>();
        ClassLoader original = Thread.currentThread().getContextClassLoader();
        Thread.currentThread().setContextClassLoader(null);
        try {
            threads.runInPool(() -> used.set(Thread.currentThread()));
        } finally {
            Thread.currentThread().setContextClassLoader(original);
        }
        assertTrue(used.get().isDaemon());
        assertTrue(used.get().getName().startsWith("ferrolink-platform-"), used.get().getName());
        assertSame(Ferrolink.class.getClassLoader(), used.get().getContextClassLoader());
    }

    @Test
    @DisplayName("wait for a thread of the pool if all of them are busy")
    void bounded() throws Exception {
        Set<Thread> used = ConcurrentHashMap.newKeySet();
        AtomicInteger running = new AtomicInteger();
        AtomicInteger most = new AtomicInteger();
        CountDownLatch both = new CountDownLatch(2);
        Threads.onEach(20, false, index -> threads.runInPool(() -> {
            most.accumulateAndGet(running.incrementAndGet(), Math::max);
            used.add(Thread.currentThread());
            both.countDown();
            await(both);
            running.decrementAndGet();
        }));
        assertEquals(2, used.size());
        assertEquals(2, most.get());
    }

    @Test
    @DisplayName("end with whatever the native calls throw")
    void throwing() {
        IllegalStateException exception = new IllegalStateException("x");
        assertSame(exception, assertThrows(IllegalStateException.class, () -> threads.runInPool(() -> {
            throw exception;
        })));
        Error error = new UnsatisfiedLinkError("y");
        assertSame(error, assertThrows(UnsatisfiedLinkError.class, () -> threads.runInPool(() -> {
            throw error;
        })));
    }

    @ParameterizedTest
    @CsvSource(value = {"NULL,16", "'',16", "0,16", "-1,16", "x,16", "1025,16", "99999999999,16", "1,1",
        "' 3 ',3", "1024,1024"}, nullValues = "NULL")
    @DisplayName("use as many threads as the property says, 16 if it says nothing of use")
    void size(String property, int expected) {
        assertEquals(expected, PlatformThreads.sizeOf(property, 16));
    }
}
