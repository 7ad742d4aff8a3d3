package com.ferrolink.core.objects;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.ThreadLocalRandom;
import java.util.concurrent.atomic.AtomicInteger;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("The table of handles")
final class HandleTableTest {

    private static final int THREADS = 8;
    private static final int ROUNDS = Counts.of("TEST_HANDLE_ROUNDS", 20_000);

    private final HandleTable table = new HandleTable(1);

    @Test
    @DisplayName("gives each object a handle of its own and finds it by that")
    void find() {
        Set<Long> handles = new HashSet<>();
        for (int number = 0; number < 5000; number++) {
            long handle = table.add(number);
            assertTrue(handles.add(handle));
            assertNotEquals(0, handle >>> 32);
            assertEquals(number, table.get(handle));
        }
        assertEquals(5000, table.size());
        assertEquals("{java.lang.Integer=5000}", table.sizesByClass().toString());
    }

    @Test
    @DisplayName("knows a handle no more once it was released, and names its numbers")
    void stale() {
        long first = table.add("first");
        assertTrue(table.release(first));
        assertFalse(table.release(first));
        assertNull(table.find(first));
        long second = table.add("second");
        assertEquals((int) first, (int) second);
        assertNotEquals(first, second);
        Refusal refusal = assertThrows(Refusal.class, () -> table.get(first));
        assertEquals("Handle 0 of generation 1 is stale: its object was released, or it comes from another"
                + " process.", refusal.getMessage());
        assertEquals(Refusal.STALE, refusal.kind());
        assertFalse(table.release(first));
        assertSame("second", table.get(second));
    }

    @Test
    @DisplayName("knows no handles that it never gave out")
    void foreign() {
        table.add("x");
        for (long handle : new long[] {0, -1, 1L << 32 | 1, 2L << 32, 1L << 32 | 5000, Long.MIN_VALUE, 1}) {
            assertNull(table.find(handle), Long.toHexString(handle));
            assertFalse(table.release(handle), Long.toHexString(handle));
        }
        assertEquals(1, table.size());
    }

    @Test
    @DisplayName("does not use a slot again whose generations are used up")
    void generations() {
        HandleTable late = new HandleTable(-2);
        long first = late.add("a");
        assertEquals(0xFFFFFFFE00000000L, first);
        late.release(first);
        long second = late.add("b");
        assertEquals(0xFFFFFFFF00000000L, second);
        late.release(second);
        long third = late.add("c");
        assertEquals(0xFFFFFFFE00000001L, third);
        assertNull(late.find(0));
        assertFalse(late.release(0));
    }

    @Test
    @DisplayName("takes slots again that other threads have released")
    void otherThreads() throws Exception {
        LinkedBlockingQueue<Long> released = new LinkedBlockingQueue<>();
        Thread[] releasing = new Thread[THREADS];
        for (int round = 0; round < 50; round++) {
            for (int number = 0; number < 100; number++) {
                released.add(table.add(number));
            }
            for (int index = 0; index < THREADS; index++) {
                releasing[index] = new Thread(() -> {
                    for (Long next = released.poll(); next != null; next = released.poll()) {
                        table.release(next);
                    }
                });
                releasing[index].start();
            }
            for (Thread thread : releasing) {
                thread.join();
            }
        }
        assertEquals(0, table.size());
        assertTrue((int) table.add("x") < 1024);
    }

    @Test
    @DisplayName("keeps the objects of many threads apart")
    void threads() throws Exception {
        ExecutorService pool = Executors.newFixedThreadPool(THREADS);
        CyclicBarrier start = new CyclicBarrier(THREADS);
        LinkedBlockingQueue<Long> passedOn = new LinkedBlockingQueue<>();
        List<Future<?>> all = new ArrayList<>();
        for (int index = 0; index < THREADS; index++) {
            int thread = index;
            all.add(pool.submit(() -> {
                start.await();
                work(thread, passedOn);
                return null;
            }));
        }
        for (Future<?> one : all) {
            one.get();
        }
        pool.shutdown();
        for (long handle : passedOn) {
            assertTrue(table.release(handle));
        }
        assertEquals(0, table.size());
        assertTrue((int) table.add("x") < THREADS * 1024);
    }

    @Test
    @DisplayName("gives no slot to two threads that share a list of free ones")
    void sharedList() throws Exception {
        AtomicInteger wrong = new AtomicInteger();
        CyclicBarrier start = new CyclicBarrier(THREADS);
        List<Thread> threads = new ArrayList<>();
        while (threads.size() < THREADS) {
            Thread thread = new Thread(() -> {
                try {
                    start.await();
                } catch (Exception broken) {
                    wrong.incrementAndGet();
                }
                Object object = Thread.currentThread();
                List<Long> own = new ArrayList<>();
                for (int round = 0; round < ROUNDS; round++) {
                    for (int count = 0; count < 3; count++) {
                        own.add(table.add(object));
                    }
                    // Returns the slots in another order, which breaks a list without change counts.
                    while (!own.isEmpty()) {
                        long next = own.remove(ThreadLocalRandom.current().nextInt(own.size()));
                        wrong.addAndGet(table.find(next) == object && table.release(next) ? 0 : 1);
                    }
                }
            });
            if (HandleTable.stripeOf(thread.getId()) == 0) {
                threads.add(thread);
            }
        }
        threads.forEach(Thread::start);
        for (Thread thread : threads) {
            thread.join();
        }
        assertEquals(0, wrong.get());
        assertEquals(0, table.size());
    }

    private void work(int thread, LinkedBlockingQueue<Long> passedOn) {
        Deque<Long> own = new ArrayDeque<>();
        for (int round = 0; round < ROUNDS; round++) {
            String object = thread + ":" + round;
            long handle = table.add(object);
            assertSame(object, table.get(handle));
            own.add(handle);
            if (round % 3 == 0) {
                passedOn.add(own.poll());
            }
            Long others = round % 3 == 1 ? passedOn.poll() : null;
            if (others != null) {
                assertTrue(table.release(others));
                assertFalse(table.release(others));
                assertNull(table.find(others));
            }
            if (own.size() > 50) {
                assertTrue(table.release(own.poll()));
            }
        }
        own.forEach(handle -> assertTrue(table.release(handle)));
    }
}
