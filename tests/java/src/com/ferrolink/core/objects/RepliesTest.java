package com.ferrolink.core.objects;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.function.Consumer;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("Replies to typed calls")
final class RepliesTest {

    private static final String FIXTURES = "com.ferrolink.core.objects.Fixtures";

    private final Client client = new Client();

    private ThrownInJava thrown(Runnable request) {
        return assertThrows(ThrownInJava.class, request::run);
    }

    private Refused refused(int kind, Runnable request) {
        Refused refused = assertThrows(Refused.class, request::run);
        assertEquals(kind, refused.kind, refused.getMessage());
        return refused;
    }

    @Test
    @DisplayName("to what throws have class, message, supertypes, causes and the throwable")
    void exception() {
        ThrownInJava thrown =
                thrown(() -> client.call(client.make(FIXTURES + ".Overloads"), "fail", "gone"));
        assertEquals("java.io.IOException", thrown.type);
        assertEquals("gone", thrown.message);
        assertEquals(Arrays.asList("java.lang.Exception", "java.lang.Throwable", "java.lang.Object",
                "java.io.Serializable"), thrown.supertypes);
        assertTrue(thrown.report.startsWith("java.io.IOException: gone\n    at " + FIXTURES),
                thrown.report);
        assertTrue(thrown.report.contains("\nCaused by: java.lang.IllegalStateException: inner\n"),
                thrown.report);
        assertEquals("gone", client.call(thrown.throwable, "getMessage"));
        assertEquals("java.io.IOException", client.nameOf(thrown.throwable));
        assertEquals(thrown.throwable.classId, client.make("java.io.IOException").classId);
    }

    @Test
    @DisplayName("tell a message that is missing from an empty one")
    void noMessage() {
        assertNull(thrown(() -> client.call(client.make("java.util.ArrayDeque"), "pop")).message);
        assertEquals("", thrown(() -> client.call(client.make(FIXTURES + ".Overloads"), "fail", "")).message);
    }

    @Test
    @DisplayName("about a cause are as if it had been thrown")
    void cause() {
        ThrownInJava outer =
                thrown(() -> client.call(client.make(FIXTURES + ".Overloads"), "fail", "gone"));
        ThrownInJava inner =
                thrown(() -> client.ask(wire -> wire.u8(19).i64(outer.throwable.number)));
        assertEquals("java.lang.IllegalStateException", inner.type);
        assertEquals("inner", inner.message);
        assertSame(Client.VOID,
                Client.only(client.ask(wire -> wire.u8(19).i64(inner.throwable.number))));
        Handle list = client.make("java.util.ArrayList");
        refused(5, () -> client.ask(wire -> wire.u8(19).i64(list.number)));
    }

    @Test
    @DisplayName("survive errors, initialisers that fail and a stack that is used up")
    void errors() {
        assertEquals("java.lang.ExceptionInInitializerError",
                thrown(() -> client.getStatic(FIXTURES + ".Broken", "value")).type);
        assertEquals("java.lang.NoClassDefFoundError",
                thrown(() -> client.getStatic(FIXTURES + ".Broken", "value")).type);
        assertEquals("java.lang.StackOverflowError", thrown(() -> client.callStatic(FIXTURES, "recurse", 0)).type);
        assertEquals("java.lang.OutOfMemoryError", thrown(() -> client.make("java.util.ArrayList",
                Integer.MAX_VALUE)).type);
        assertEquals(null, thrown(() -> client.callStatic(FIXTURES, "throwHostile")).message);
    }

    @Test
    @DisplayName("name the numbers of a stale handle")
    void staleHandle() {
        Handle list = client.make("java.util.ArrayList");
        client.release(list);
        Refused refused = refused(2, () -> client.nameOf(list));
        assertEquals("Handle " + (int) list.number + " of generation " + (list.number >>> 32)
                + " is stale: its object was released, or it comes from another process.",
                refused.getMessage());
        client.release(list);
        client.release(new Handle(0xFFFFFFFFFFFFL, 0));
        client.statistics();
        refused(2, () -> client.callStatic(FIXTURES, "identity", list));
        refused(2, () -> client.valueOf(new Handle(0, 0)));
    }

    @Test
    @DisplayName("carry out releases, whatever becomes of the request behind them")
    void releases() {
        long before = client.statistics().handles;
        for (Consumer<WireWriter> request : Arrays.<Consumer<WireWriter>>asList(wire -> wire.u8(11),
                wire -> wire.u8(99), wire -> wire.u8(16).i64(-1), wire -> { })) {
            client.release(client.make("java.util.ArrayList"));
            try {
                assertSame(Client.VOID, Client.only(client.ask(request)));
            } catch (Refused refused) {
                assertNotEquals(0, refused.kind);
            }
            assertEquals(before, client.statistics().handles);
        }
        byte[] tooMany = {2, 0, 1, 0, 0, 0, 1, 0, 0, 0, 11};
        Refused refused = refused(1, () -> Client.success(Client.answer(tooMany)));
        assertEquals("Malformed data at offset 0: 2 releases are announced, 9 bytes follow.",
                refused.getMessage());
    }

    @Test
    @DisplayName("count handles by class, functions and members")
    void statistics() {
        Handle first = client.make("java.util.TreeMap");
        Handle second = client.make("java.util.TreeMap");
        Client.Statistics statistics = client.statistics();
        assertEquals(2L, statistics.byClass.get("java.util.TreeMap"));
        assertEquals(statistics.handles,
                statistics.byClass.values().stream().mapToLong(Long::longValue).sum());
        assertTrue(statistics.members > 0);
        client.release(first);
        client.release(second);
        assertEquals(statistics.handles - 2, client.statistics().handles);
        assertFalse(client.statistics().byClass.containsKey("java.util.TreeMap"));
    }

    @Test
    @DisplayName("give a further handle of the same object")
    void duplicate() {
        Handle list = client.make("java.util.ArrayList");
        Handle same = client.duplicate(list);
        assertNotEquals(list.number, same.number);
        assertEquals(list.classId, same.classId);
        client.call(list, "add", 1);
        client.release(list);
        assertEquals(1, client.call(same, "size"));
    }

    @Test
    @DisplayName("to a call take the first value as the object where that is asked for")
    void selfFirst() {
        int indexOf = client.resolve(0, "java.lang.String", "indexOf");
        Object found = Client.only(client.ask(wire -> {
            wire.u8(2).i32(indexOf).u8(2).i64(0).i64(-1).u8(2);
            Client.put(wire, "abc");
            Client.put(wire, "c");
        }));
        assertEquals(2, found);
        refused(1, () -> client.ask(wire -> wire.u8(2).i32(indexOf).u8(2).i64(0).i64(-1).u8(0)));
        refused(5, () -> client.ask(wire -> wire.u8(2).i32(indexOf).u8(2).i64(0).i64(-1).u8(1).u8(0)));
        refused(5, () -> client.ask(wire -> wire.u8(2).i32(indexOf).u8(2).i64(0).i64(-1).u8(1).u8(2)));
    }

    @Test
    @DisplayName("give elements in chunks, of whatever has some")
    void elements() {
        Handle list = client.callStaticForObject("java.util.Arrays", "asList", 1, 2, 3);
        Handle iterator = client.iterate(list);
        Client.Fetched first = client.fetch(iterator, Client.VALUE, 2);
        assertEquals(Arrays.asList(1, 2), first.elements);
        assertTrue(first.more);
        Client.Fetched second = client.fetch(iterator, Client.VALUE, 2);
        assertEquals(Collections.singletonList(3), second.elements);
        assertFalse(second.more);
        Handle again = client.iterate(list);
        assertTrue(client.fetch(again, Client.VALUE, 3).more);
        assertFalse(client.fetch(again, Client.VALUE, 3).more);
        assertEquals("java.lang.Integer", client.nameOf((Handle) client.fetch(client.iterate(list), Client.OBJECT, 1)
                .elements.get(0)));
        for (Handle source : Arrays.asList(
                client.callForObject(list, "iterator"), client.callForObject(list, "stream"),
                client.callStaticForObject("java.util.Collections", "enumeration", list),
                client.callForObject(list, "toArray"),
                client.callStaticForObject(FIXTURES, "identity", new int[] {1, 2, 3}),
                client.callStaticForObject("java.util.stream.IntStream", "range", 1, 4))) {
            assertEquals(Arrays.asList(1, 2, 3), client.fetch(client.iterate(source), Client.VALUE, -1).elements);
        }
        Handle map = client.callStaticForObject("java.util.Collections", "singletonMap", "k", "v");
        assertEquals("k=v", client.call((Handle) client.fetch(client.iterate(map), Client.OBJECT, 9).elements.get(0),
                "toString"));
        refused(5, () -> client.iterate(client.make("java.lang.Object")));
        refused(5, () -> client.fetch(list, Client.VALUE, 1));
        refused(1, () -> client.fetch(client.iterate(list), Client.VALUE, 0));
        assertEquals(Collections.emptyList(), client.fetch(client.callForObject(client.make("java.util.ArrayList"),
                "iterator"), Client.VALUE, 1).elements);
    }

    @Test
    @DisplayName("end a chunk that grows large, and go on with the next")
    void largeChunks() {
        Handle list = client.callStaticForObject("java.util.Collections", "nCopies", 20, new byte[1 << 20]);
        Handle iterator = client.iterate(list);
        int elements = 0;
        Client.Fetched next;
        do {
            next = client.fetch(iterator, Client.VALUE, 1000);
            assertTrue(next.elements.size() <= 9);
            elements += next.elements.size();
        } while (next.more);
        assertEquals(20, elements);
    }

    @Test
    @DisplayName("give the elements in front of a failure first")
    void failingIterator() {
        Handle iterator = client.iterate(client.callStaticForObject(FIXTURES, "failingAfter", 3));
        Client.Fetched fetched = client.fetch(iterator, Client.OBJECT, 10);
        assertEquals(3, fetched.elements.size());
        assertTrue(fetched.more);
        long before = client.statistics().handles;
        assertEquals("java.lang.ArithmeticException",
                thrown(() -> client.fetch(iterator, Client.OBJECT, 10)).type);
        assertEquals(before + 1, client.statistics().handles);
    }

    @Test
    @DisplayName("to a batch feed later requests, and end with the first that fails")
    void batch() {
        int make = client.resolve(2, "java.util.ArrayList", "");
        int add = client.resolve(0, "java.util.ArrayList", "add");
        int get = client.resolve(0, "java.util.ArrayList", "get");
        long before = client.statistics().handles;
        List<byte[]> replies = batch(wire -> wire.u8(2).i32(make).u8(0).i64(0).i64(0).u8(0),
                wire -> wire.u8(2).i32(add).u8(2).i64(0).i64(1).u8(1).u8(10).text("x"),
                wire -> wire.u8(2).i32(add).u8(2).i64(0).i64(1).u8(1).u8(17).i32(1),
                wire -> wire.u8(2).i32(get).u8(2).i64(0).i64(1).u8(1).u8(6).i32(1),
                wire -> wire.u8(7).i64(4).i64(0));
        assertEquals(5, replies.size());
        assertSame(Client.VOID, Client.only(Client.success(replies.get(0))));
        assertEquals(true, Client.only(Client.success(replies.get(3))));
        assertEquals(true, Client.only(Client.success(replies.get(4))));
        assertEquals(before, client.statistics().handles);

        replies = batch(wire -> wire.u8(2).i32(make).u8(1).i64(0).i64(0).u8(0),
                wire -> wire.u8(2).i32(get).u8(2).i64(0).i64(1).u8(1).u8(6).i32(7),
                wire -> wire.u8(11));
        assertEquals(2, replies.size());
        client.release((Handle) Client.only(Client.success(replies.get(0))));
        byte[] failed = replies.get(1);
        ThrownInJava thrown = thrown(() -> Client.success(failed));
        assertEquals("java.lang.IndexOutOfBoundsException", thrown.type);
        client.release(thrown.throwable);
        assertEquals(before, client.statistics().handles);

        assertEquals(1, batch(wire -> wire.u8(14).i32(0)).size());
        byte[] nested = batch(wire -> wire.u8(14).i32(0)).get(0);
        refused(1, () -> Client.success(nested));
        byte[] later = batch(wire -> wire.u8(16).i64(1)).get(0);
        refused(1, () -> Client.success(later));
        byte[] noObject = batch(wire -> wire.u8(11), wire -> wire.u8(16).i64(1)).get(1);
        refused(2, () -> Client.success(noObject));
        refused(1, () -> client.ask(wire -> wire.u8(14).i32(1).i32(5).u8(11)));
    }

    @SafeVarargs
    private final List<byte[]> batch(Consumer<WireWriter>... requests) {
        WireReader wire = client.ask(all -> {
            all.u8(14).i32(requests.length);
            for (Consumer<WireWriter> request : requests) {
                WireWriter one = new WireWriter(64);
                request.accept(one);
                all.i32(one.size()).raw(one.toByteArray(), 0, one.size());
            }
        });
        byte[][] replies = new byte[wire.i32()][];
        for (int index = 0; index < replies.length; index++) {
            int size = wire.i32();
            int start = wire.skip(size);
            replies[index] = Arrays.copyOfRange(wire.bytes(), start, start + size);
        }
        wire.requireEnd();
        return Arrays.asList(replies);
    }

    @Test
    @DisplayName("leave no handles behind that were made for what failed")
    void nothingLeft() {
        long before = client.statistics().handles;
        ThrownInJava thrown = thrown(() -> client.fetch(client.callStaticForObject(FIXTURES,
                "failingAfter", 3), Client.OBJECT, 10));
        client.release(thrown.throwable);
        assertEquals(before + 1, client.statistics().handles);
    }
}
