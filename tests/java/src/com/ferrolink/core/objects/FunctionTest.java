package com.ferrolink.core.objects;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.ferrolink.FerrolinkException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("A function of C++ that implements Java interfaces")
final class FunctionTest {

    private static final String FIXTURES = "com.ferrolink.core.objects.Fixtures";
    private static final List<String> COMPARATOR = Collections.singletonList("java.util.Comparator");
    private static final List<String> RUNNABLE = Collections.singletonList("java.lang.Runnable");
    private static final List<String> SHAPES = Collections.singletonList(FIXTURES + ".Shapes");
    private static final List<String> GREETING = Collections.singletonList(FIXTURES + ".Greeting");

    private final FakeCpp cpp = new FakeCpp();
    private final Client client = cpp.client();

    private Handle function(long id, List<String> interfaces, FakeCpp.Function function, String... names) {
        cpp.functions.put(id, function);
        return client.implement(id, "", interfaces, names);
    }

    private Handle shapes(FakeCpp.Function function) {
        return function(1, SHAPES, function, "number", "text", "nothing", "all", "narrow", "checked");
    }

    private String refusal(int kind, Runnable request) {
        Refused refused = assertThrows(Refused.class, request::run);
        assertEquals(kind, refused.kind, refused.getMessage());
        return refused.getMessage();
    }

    @Test
    @DisplayName("compares for Java's sort, with handles that it owns")
    void comparator() {
        Handle backwards = function(1, COMPARATOR, (method, arguments) -> {
            int first = (Integer) client.valueOf((Handle) arguments.get(0));
            int second = (Integer) client.valueOf((Handle) arguments.get(1));
            arguments.forEach(each -> client.release((Handle) each));
            return Integer.compare(second, first);
        });
        Handle list = client.callStaticForObject("java.util.Arrays", "asList", 3, 1, 2);
        client.callStatic("java.util.Collections", "sort", list, backwards);
        assertEquals("[3, 2, 1]", client.call(list, "toString"));
        assertEquals("compare2", cpp.calls.get(0));
        assertEquals("objects", cpp.handlers.get(0));
    }

    @Test
    @DisplayName("leaves default methods to Java, unless it has one of that name")
    void defaultMethods() {
        Handle backwards = function(1, COMPARATOR, (method, arguments) -> -1);
        Handle reversed = client.callForObject(backwards, "reversed");
        assertEquals(-1, client.call(backwards, "compare", "a", "b"));
        assertEquals(-1, client.call(reversed, "compare", "a", "b"));
        Handle greeting = function(2, GREETING, (method, arguments) -> 5);
        assertEquals("Hello, you of 5", client.call(greeting, "greet", "you"));
        Handle named = function(3, GREETING, (method, arguments) -> method + arguments, "greet");
        assertEquals("greet[you]", client.call(named, "greet", "you"));
        Handle hidden = function(4, Collections.singletonList(FIXTURES + ".HiddenGreeting"),
                (method, arguments) -> 6);
        assertEquals("Hello, you of 6", client.call(hidden, "greet", "you"));
        assertEquals("hidden 6", client.callStatic(FIXTURES, "greetHidden", hidden));
    }

    @Test
    @DisplayName("leaves equals, hashCode and toString to the object, unless it has them")
    void ofObjects() {
        Handle runnable = function(12, RUNNABLE, (method, arguments) -> null);
        assertEquals("java.lang.Runnable by C++ function 12", client.call(runnable, "toString"));
        assertTrue(client.test(1, runnable, runnable));
        assertFalse(client.test(1, runnable, "x"));
        assertEquals(client.call(runnable, "hashCode"),
                client.callStatic("java.lang.System", "identityHashCode", runnable));
        Handle named = function(13, RUNNABLE, (method, arguments) -> "run of C++", "run", "toString");
        assertEquals("run of C++", client.call(named, "toString"));
        assertEquals("run of C++", client.callStatic("java.lang.String", "valueOf", named));
    }

    @Test
    @DisplayName("is the same object while that lives, for the same interfaces")
    void identity() {
        Handle first = function(1, RUNNABLE, (method, arguments) -> null);
        Handle second = client.implement(1, "objects", RUNNABLE);
        assertNotEquals(first.number, second.number);
        assertTrue(client.test(1, first, second));
        Handle listeners = client.make("java.util.ArrayList");
        client.call(listeners, "add", first);
        assertEquals(true, client.call(listeners, "remove", second));
        assertFalse(client.test(1, first, client.implement(1, "other", RUNNABLE)));
        assertFalse(client.test(1, first, client.implement(2, "", RUNNABLE)));
        assertFalse(client.test(1, first, client.implement(1, "", COMPARATOR)));
    }

    @Test
    @DisplayName("is told how often it was given out when no object is left, without any command")
    void dropped() throws Exception {
        cpp.awaited = new CountDownLatch(2);
        Handle kept = client.implement(9, "", RUNNABLE);
        List<Handle> others = new ArrayList<>();
        for (int time = 0; time < 3; time++) {
            others.add(client.implement(7, "module", RUNNABLE));
        }
        others.add(client.implement(8, "", COMPARATOR));
        assertEquals(3, client.statistics().functions);
        others.forEach(client::release);
        client.callStatic("java.lang.Math", "abs", 1);
        awaitCollection(cpp.awaited);
        assertEquals("{7=3, 8=1}", cpp.dropped.toString());
        assertTrue(cpp.handlers.contains("module"));
        assertEquals(1, client.statistics().functions);
        client.call(kept, "hashCode");
    }

    @Test
    @DisplayName("is told later where that failed")
    void droppedLater() throws Exception {
        cpp.broken = FerrolinkException.ofNativeText("JVM Launcher: Exception code 018. Not there");
        assertFalse(FerrolinkException.ofNativeText("JVM Launcher: Exception code 018. Not there").mayHaveExecuted());
        client.release(client.implement(7, "", RUNNABLE));
        CountDownLatch collected = new CountDownLatch(1);
        while (cpp.handlers.isEmpty()) {
            client.statistics();
            awaitCollection(new CountDownLatch(0));
        }
        cpp.broken = null;
        cpp.awaited = collected;
        while (collected.getCount() > 0) {
            client.release(client.implement(8, "", RUNNABLE));
            client.statistics();
            awaitCollection(new CountDownLatch(0));
        }
        assertEquals(1, cpp.dropped.get(7L));
    }

    @Test
    @DisplayName("is one object for threads that ask at once, and counted for each of them")
    void threads() throws Exception {
        int threads = 4;
        int rounds = 200;
        Object[][] handles = new Object[rounds][threads];
        CyclicBarrier barrier = new CyclicBarrier(threads);
        ExecutorService pool = Executors.newFixedThreadPool(threads);
        List<Future<?>> all = new ArrayList<>();
        for (int index = 0; index < threads; index++) {
            int thread = index;
            all.add(pool.submit(() -> {
                Client own = cpp.client();
                for (int round = 0; round < rounds; round++) {
                    barrier.await();
                    handles[round][thread] = own.implement(round, "", RUNNABLE);
                }
                return null;
            }));
        }
        for (Future<?> one : all) {
            one.get();
        }
        pool.shutdown();
        cpp.awaited = new CountDownLatch(rounds);
        for (Object[] same : handles) {
            for (Object handle : same) {
                assertTrue(client.test(1, (Handle) same[0], handle));
            }
        }
        Arrays.stream(handles).flatMap(Arrays::stream).forEach(handle -> client.release((Handle) handle));
        client.statistics();
        awaitCollection(cpp.awaited);
        assertEquals(rounds, cpp.dropped.size());
        assertTrue(cpp.dropped.values().stream().allMatch(times -> times == threads), cpp.dropped.toString());
        assertEquals(0, client.statistics().functions);
    }

    private static void awaitCollection(CountDownLatch collected) throws InterruptedException {
        do {
            System.gc();
        } while (!collected.await(10, TimeUnit.MILLISECONDS));
    }

    @Test
    @DisplayName("fails as a Java exception with its text")
    void failure() {
        Handle runnable = function(1, RUNNABLE, (method, arguments) -> {
            throw new FakeCpp.CppException("std::runtime_error: größer", null);
        });
        ThrownInJava thrown =
                assertThrows(ThrownInJava.class, () -> client.call(runnable, "run"));
        assertEquals("com.ferrolink.core.objects.FunctionException", thrown.type);
        assertEquals("std::runtime_error: größer", thrown.message);
        assertTrue(thrown.supertypes.contains("java.lang.RuntimeException"));
    }

    @Test
    @DisplayName("passes a throwable of Java on as that very one")
    void passedOn() {
        Handle error = client.make("java.lang.StackOverflowError", "deep");
        Handle runnable = function(1, RUNNABLE, (method, arguments) -> {
            throw new FakeCpp.CppException("passed", client.duplicate(error));
        });
        ThrownInJava thrown =
                assertThrows(ThrownInJava.class, () -> client.call(runnable, "run"));
        assertTrue(client.test(1, error, thrown.throwable));
        Handle declared = client.make("java.io.IOException", "declared");
        Handle shapes = shapes((method, arguments) -> {
            throw new FakeCpp.CppException("passed", client.duplicate(declared));
        });
        thrown = assertThrows(ThrownInJava.class, () -> client.call(shapes, "checked"));
        assertTrue(client.test(1, declared, thrown.throwable));
        thrown = assertThrows(ThrownInJava.class, () -> client.call(shapes, "nothing"));
        assertEquals("java.lang.reflect.UndeclaredThrowableException", thrown.type);
    }

    @Test
    @DisplayName("gets arguments by the declared types of parameters")
    void arguments() {
        Handle shapes = shapes((method, arguments) -> {
            Object[] all = arguments.toArray();
            for (int index = 0; index < all.length; index++) {
                all[index] = all[index] instanceof Handle
                        ? "(" + client.nameOf((Handle) all[index]) + ")" : all[index];
            }
            return Arrays.toString(all);
        });
        assertEquals("[1, 2, x, (java.lang.String), (java.lang.Integer), ([I), null, c, true]",
                client.call(shapes, "all", 1, 2L, "x", "y", client.make("java.lang.Integer", 5),
                        new int[] {1}, null, 'c', true));
    }

    @Test
    @DisplayName("gets arguments as it wants them")
    void wants() {
        cpp.functions.put(1L, (method, arguments) -> {
            assertEquals("java.lang.Integer", client.nameOf((Handle) arguments.get(0)));
            return ((String) arguments.get(1)).length();
        });
        Handle function = (Handle) Client.only(client.ask(wire -> wire.u8(9).i32(1)
                .text("java.util.Comparator").i64(1).text("").i32(1).text("").u8(2).u8(1).u8(2)));
        assertEquals(4, client.call(function, "compare", 1, "four"));
        refusal(1, () -> client.ask(wire -> wire.u8(9).i32(1).text("java.util.Comparator").i64(2).text("")
                .i32(1).text("").u8(1).u8(0)));
    }

    @Test
    @DisplayName("returns what can be assigned to the method's type, and nothing else")
    void results() {
        Object[] result = new Object[1];
        Handle shapes = shapes((method, arguments) -> result[0]);
        result[0] = 5;
        assertEquals(5L, client.call(shapes, "number"));
        result[0] = (byte) 5;
        assertEquals(5L, client.call(shapes, "number"));
        result[0] = 5L;
        assertEquals((short) 5, client.call(shapes, "narrow"));
        assertSame(Client.VOID, client.call(shapes, "nothing"));
        result[0] = "text";
        assertEquals("text", client.call(shapes, "text"));
        result[0] = client.make("java.lang.String", "object");
        assertEquals("object", client.call(shapes, "text"));
        result[0] = new Client.Raw(15);
        assertSame(Client.VOID, client.call(shapes, "nothing"));
        for (Object unfit : new Object[] {null, "text", 1.5, new Client.Raw(15), new Client.Raw(99), 1 << 20}) {
            result[0] = unfit;
            ThrownInJava thrown =
                    assertThrows(ThrownInJava.class, () -> client.call(shapes, "narrow"));
            assertEquals("com.ferrolink.core.objects.FunctionException", thrown.type);
            assertTrue(thrown.message.startsWith("The answer of C++ function 1 is not usable: "),
                    thrown.message);
        }
    }

    @Test
    @DisplayName("gives back the handles of its results, and those of a call that did not arrive")
    void ownership() {
        Handle shapes = shapes((method, arguments) -> client.make("java.lang.String", "given"));
        long before = client.statistics().handles;
        assertEquals("given", client.call(shapes, "text"));
        assertEquals(before, client.statistics().handles);
        cpp.broken = FerrolinkException.ofNativeText("JVM Launcher: Exception code 018. Not there");
        Handle comparator = client.implement(2, "", COMPARATOR);
        assertThrows(ThrownInJava.class, () -> client.call(comparator, "compare", "a", "b"));
        client.release(comparator);
        // Only the handle of the exception is left.
        assertEquals(before + 1, client.statistics().handles);
    }

    @Test
    @DisplayName("is asked for no method that it does not have")
    void missing() {
        Handle shapes = function(1, SHAPES, (method, arguments) -> "x", "text");
        assertEquals("x", client.call(shapes, "text"));
        ThrownInJava thrown =
                assertThrows(ThrownInJava.class, () -> client.call(shapes, "nothing"));
        assertEquals("java.lang.UnsupportedOperationException", thrown.type);
        assertEquals(1, cpp.calls.size());
    }

    @Test
    @DisplayName("implements interfaces alone, by methods that they have")
    void refusals() {
        assertEquals("java.lang.String is no interface.",
                refusal(6, () -> client.implement(1, "", Collections.singletonList("java.lang.String"))));
        assertEquals("No method of (java.lang.Runnable) is named 'walk'.",
                refusal(3, () -> client.implement(1, "", RUNNABLE, "walk")));
        assertTrue(refusal(6, () -> client.implement(1, "", SHAPES)).contains(" has the abstract methods all,"
                + " checked, narrow, nothing, number, text: a single function implements"));
        assertTrue(refusal(6, () -> client.implement(1, "", Collections.emptyList())).contains("no abstract"));
        refusal(6, () -> client.implement(1, "", Collections.singletonList("java.io.Serializable")));
        refusal(6, () -> client.implement(1, "", Arrays.asList("java.lang.Runnable", "java.lang.Runnable")));
        refusal(3, () -> client.implement(1, "", Collections.singletonList("no.such.Interface")));
        assertEquals(0, client.statistics().functions);
    }

    @Test
    @DisplayName("implements several interfaces at once")
    void several() {
        Handle both = function(1, Arrays.asList("java.lang.Runnable", "java.util.Comparator"),
                (method, arguments) -> "run".equals(method) ? null : 3, "run", "compare");
        client.call(both, "run");
        assertEquals(3, client.call(both, "compare", "a", "b"));
        assertTrue(client.test(2, both, "java.lang.Runnable"));
    }
}
