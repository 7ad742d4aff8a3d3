package com.ferrolink.core.objects;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.LinkedBlockingQueue;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("Typed calls of many threads")
final class ConcurrentObjectsTest {

    private static final int THREADS = 8;
    private static final int CALLS = Counts.of("TEST_MIXED_CALLS", 2000);
    private static final String OVERLOADS = "com.ferrolink.core.objects.Fixtures.Overloads";

    /** Handles that another thread releases. */
    private final LinkedBlockingQueue<Handle> passedOn = new LinkedBlockingQueue<>();

    @Test
    @DisplayName("get their own results and exceptions, and leave no handle")
    void mixed() throws Exception {
        Client client = new Client();
        String before = client.statistics().byClass.toString();
        ExecutorService pool = Executors.newFixedThreadPool(THREADS);
        CyclicBarrier start = new CyclicBarrier(THREADS);
        List<Future<?>> all = new ArrayList<>();
        for (int index = 0; index < THREADS; index++) {
            int thread = index;
            all.add(pool.submit(() -> {
                start.await();
                call(new Client(), thread);
                return null;
            }));
        }
        for (Future<?> one : all) {
            one.get();
        }
        pool.shutdown();
        passedOn.forEach(client::release);
        assertEquals(before, client.statistics().byClass.toString());
    }

    private void call(Client client, int thread) {
        Handle object = client.make(OVERLOADS);
        for (int number = 0; number < CALLS; number++) {
            String text = thread + ":" + number;
            Handle list = client.make("java.util.ArrayList");
            client.call(list, "add", text);
            client.call(list, "add", number);
            assertEquals("[" + text + ", " + number + "]", client.call(list, "toString"));
            assertEquals(number % 2 == 0 ? "int" : "Object",
                    client.call(object, "o", number % 2 == 0 ? (Object) number : (Object) text));
            client.set(object, "x", number);
            assertEquals(number, client.get(object, "x"));
            if (number % 10 == 0) {
                ThrownInJava thrown = assertThrows(ThrownInJava.class,
                        () -> client.call(object, "fail", text));
                assertEquals(text, thrown.message);
                client.release(thrown.throwable);
            }
            Handle elements = client.iterate(list);
            assertEquals(text, client.fetch(elements, Client.VALUE, 1).elements.get(0));
            client.release(elements);
            passedOn.add(list);
            client.release(passedOn.remove());
        }
        client.release(object);
        client.callStatic("java.lang.Math", "abs", 1);
    }
}
