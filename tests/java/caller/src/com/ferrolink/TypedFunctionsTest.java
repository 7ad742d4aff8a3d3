package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.ferrolink.core.objects.FunctionException;
import com.ferrolink.core.receiver.Receiver;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("Methods that call typed functions")
final class TypedFunctionsTest {

    /** Functions of C++. */
    public interface Stats {
        double sum(double[] values);

        @FunctionName("größer")
        boolean larger(int one, Integer other);

        String join(String first, String... rest);

        Object keep(Object object, List<?> list);

        long count(int[][] grid, Byte small);

        void nothing();

        String[] names();

        char letter(boolean a, byte b, short c, char d, long e, float f, double g);

        default double twice(double[] values) {
            return 2 * sum(values);
        }

        @FunctionName("named")
        default int withName() {
            return -1;
        }

        static int ignored() {
            return 0;
        }
    }

    /** Functions of another process. */
    public interface Remote {
        double sum(double[] values);
    }

    private final FakeCalls calls = new FakeCalls();
    private final Ferrolink cpp = new Ferrolink(Target.inMemory(RuntimeId.CPP), calls,
            PlatformThreads.shared(), TimedThreads.shared());
    private final Stats stats = cpp.as(Stats.class);

    private void answer(int... body) {
        calls.responder = command -> Responses.of(0, bytes(body));
    }

    private static byte[] bytes(int... values) {
        byte[] bytes = new byte[values.length];
        for (int index = 0; index < values.length; index++) {
            bytes[index] = (byte) values[index];
        }
        return bytes;
    }

    /** The name and the payload of the last command. */
    private void assertSent(String name, int... payload) {
        byte[] command = calls.sent.get(calls.sent.size() - 1);
        assertEquals(2, command[10]);
        assertEquals(name, new String(command, 12, command[11], StandardCharsets.UTF_8));
        assertArrayEquals(bytes(payload), FakeCalls.payloadOf(command));
    }

    private static byte[] objects(int... request) {
        byte[] head = {2, 0, 0, 0, 0, 0, 0, 0, 0, 8, 2, 7, 'o', 'b', 'j', 'e', 'c', 't', 's', 0, 0};
        byte[] command = Arrays.copyOf(head, head.length + request.length);
        System.arraycopy(bytes(request), 0, command, head.length, request.length);
        return Receiver.sendCommand(command);
    }

    private static long liveHandles() {
        byte[] reply = objects(12);
        return (reply[12] & 0xFF) + 256L * (reply[13] & 0xFF);
    }

    @Test
    @DisplayName("send arguments by the declared types")
    void arguments() {
        answer(0xF1, 9, 0, 0, 0, 0, 0, 0, 8, 64);
        assertEquals(3.0, stats.sum(new double[] {1, 2}));
        assertSent("sum", 0xF1, 1, 12, 9, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0x40);
        answer(0xF1, 2);
        assertTrue(stats.larger(-1, 5));
        assertSent("größer", 0xF1, 2, 6, 255, 255, 255, 255, 6, 5, 0, 0, 0);
        stats.larger(0, null);
        assertSent("größer", 0xF1, 2, 6, 0, 0, 0, 0, 0);
        answer(0xF1, 10, 1, 0, 0, 0, 'x');
        assertEquals("x", stats.join("a", "b", null));
        assertSent("join", 0xF1, 2, 10, 1, 0, 0, 0, 'a', 13, 18, 0, 0, 0, 'L', 'j', 'a', 'v', 'a', '/', 'l', 'a',
                'n', 'g', '/', 'S', 't', 'r', 'i', 'n', 'g', ';', 2, 0, 0, 0, 10, 1, 0, 0, 0, 'b', 0);
        answer(0xF1, 7, 1, 0, 0, 0, 0, 0, 0, 0);
        assertEquals(1L, stats.count(new int[][] {{7}, null}, (byte) -1));
        assertSent("count", 0xF1, 2, 13, 2, 0, 0, 0, '[', 'I', 2, 0, 0, 0, 12, 6, 1, 0, 0, 0, 7, 0, 0, 0, 0, 3, 255);
        answer(0xF1, 5, 'q', 0);
        assertEquals('q', stats.letter(true, (byte) 1, (short) 2, 'c', 3, 1.5f, 2));
        assertSent("letter", 0xF1, 7, 2, 3, 1, 4, 2, 0, 5, 'c', 0, 7, 3, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0xC0, 0x3F,
                9, 0, 0, 0, 0, 0, 0, 0, 0x40);
        answer(0xF1, 15);
        stats.nothing();
        assertSent("nothing", 0xF1, 0);
    }

    @Test
    @DisplayName("return what can be assigned to the declared type")
    void results() {
        answer(0xF1, 6, 4, 0, 0, 0);
        assertEquals(4L, stats.count(null, null));
        assertEquals(4.0, stats.sum(null));
        answer(0xF1, 13, 18, 0, 0, 0, 'L', 'j', 'a', 'v', 'a', '/', 'l', 'a', 'n', 'g', '/', 'S', 't', 'r', 'i',
                'n', 'g', ';', 1, 0, 0, 0, 10, 1, 0, 0, 0, 'b');
        assertArrayEquals(new String[] {"b"}, stats.names());
        stats.nothing();
        answer(0xF1, 0);
        assertNull(stats.names());
    }

    @Test
    @DisplayName("name the result and the types where they do not fit")
    void wrongResults() {
        answer(0xF1, 10, 0, 0, 0, 0);
        assertEquals("The result of Stats.sum(double[]) is double, and java.lang.String does not fit.",
                assertThrows(IllegalArgumentException.class, () -> stats.sum(null)).getMessage());
        answer(0xF1, 9, 0, 0, 0, 0, 0, 0, 8, 64);
        assertEquals("The result of Stats.count(int[][], java.lang.Byte) is long, and java.lang.Double 3.0 does"
                + " not fit.",
                assertThrows(IllegalArgumentException.class, () -> stats.count(null, null)).getMessage());
        answer(0xF1, 0);
        assertThrows(IllegalArgumentException.class, () -> stats.sum(null));
        answer(0xF1, 15);
        assertThrows(IllegalArgumentException.class, () -> stats.sum(null));
    }

    @Test
    @DisplayName("tell that the function takes other arguments")
    void wrongArguments() {
        answer(0xF2, 5, 0, 0, 0, 'w', 'r', 'o', 'n', 'g');
        long before = liveHandles();
        assertEquals("Stats.keep(java.lang.Object, java.util.List): wrong",
                assertThrows(IllegalArgumentException.class, () -> stats.keep("x", null)).getMessage());
        assertEquals(before, liveHandles());
    }

    @Test
    @DisplayName("tell that the function is not typed, or answers nonsense")
    void notTyped() {
        answer('x');
        assertEquals("The function 'sum' is not typed: its answer of 1 bytes does not begin with the mark of one.",
                assertThrows(FunctionException.class, () -> stats.sum(null)).getMessage());
        answer();
        assertThrows(FunctionException.class, () -> stats.sum(null));
        answer(0xF1);
        assertThrows(FunctionException.class, () -> stats.sum(null));
        answer(0xF1, 2, 2);
        assertEquals("The answer of the function 'sum' is not usable: Malformed data at offset 2: 1 bytes are"
                + " left over.", assertThrows(FunctionException.class, () -> stats.sum(null)).getMessage());
    }

    @Test
    @DisplayName("fail with the report of the function")
    void failures() {
        calls.responder = command -> Responses.report("std::runtime_error: gone");
        assertEquals("std::runtime_error: gone",
                assertThrows(RemoteException.class, () -> stats.sum(null)).remoteText());
        cpp.close();
        assertThrows(IllegalStateException.class, () -> stats.sum(null));
    }

    @Test
    @DisplayName("hand objects over as handles, and take those of results")
    void objects() {
        long before = liveHandles();
        List<String> list = new ArrayList<>();
        calls.responder = command -> {
            byte[] payload = FakeCalls.payloadOf(command);
            assertEquals(2 + 13 + 13, payload.length);
            byte[] answer = Responses.of(0, new byte[14]);
            answer[11] = (byte) 0xF1;
            System.arraycopy(payload, 15, answer, 12, 13);
            return answer;
        };
        assertSame(list, stats.keep("x", list));
        assertEquals(before + 1, liveHandles());
        calls.responder = command -> Responses.report("Unknown handler 'keep'. Known handlers: none.");
        assertThrows(RemoteException.class, () -> stats.keep("x", list));
        calls.responder = command -> null;
        calls.error = "JVM Launcher: Exception code 018. Not there";
        assertThrows(FerrolinkException.class, () -> stats.keep("x", list));
        assertEquals(before + 1, liveHandles());
        calls.responder = command -> Responses.report("it keeps them, and fails");
        assertThrows(RemoteException.class, () -> stats.keep("x", list));
        assertEquals(before + 3, liveHandles());
    }

    @Test
    @DisplayName("have Java's default methods run, but for those with a function's name")
    void defaultMethods() {
        answer(0xF1, 6, 4, 0, 0, 0);
        assertEquals(8.0, stats.twice(null));
        assertEquals(4, stats.withName());
        assertSent("named", 0xF1, 0);
    }

    @Test
    @DisplayName("leave equals, hashCode and toString to the object")
    void ofObjects() {
        assertEquals("com.ferrolink.TypedFunctionsTest$Stats of Cpp (in memory)", stats.toString());
        assertEquals(stats, stats);
        assertNotEquals(stats, cpp.as(Stats.class));
        assertEquals(System.identityHashCode(stats), stats.hashCode());
        assertTrue(calls.sent.isEmpty());
    }

    @Test
    @DisplayName("are those of an interface, which has no objects for another process")
    void refusals() {
        assertEquals("java.lang.String is no interface.",
                assertThrows(IllegalArgumentException.class, () -> cpp.as(String.class)).getMessage());
        Ferrolink remote = new Ferrolink(Target.tcp(RuntimeId.CPP, "127.0.0.1", 9), calls,
                PlatformThreads.shared(), TimedThreads.shared());
        String text = assertThrows(IllegalArgumentException.class, () -> remote.as(Stats.class)).getMessage();
        assertEquals("Stats.keep(java.lang.Object, java.util.List) has a parameter or result that is an object."
                + " Functions of another process take primitives, their boxes, texts, and arrays of these.", text);
        answer(0xF1, 6, 4, 0, 0, 0);
        assertEquals(4.0, remote.as(Remote.class).sum(null));
    }
}
