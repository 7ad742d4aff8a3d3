package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.lang.management.ManagementFactory;
import java.nio.ByteBuffer;
import java.nio.ReadOnlyBufferException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.Set;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("Buffers of calls")
final class CallBuffersTest {

    /** Echoes, keeps the arrays that it was given, and may call again while it answers. */
    private static final class Echo implements NativeCalls {
        final Set<byte[]> commands = Collections.newSetFromMap(new IdentityHashMap<>());
        final Set<byte[]> buffers = Collections.newSetFromMap(new IdentityHashMap<>());
        private final ThreadLocal<byte[]> waiting = new ThreadLocal<>();
        private byte[] answer = {};
        Runnable inside = () -> { };

        @Override
        public int sendCommand(byte[] command) {
            byte[] before = command.clone();
            commands.add(command);
            inside.run();
            assertArrayEquals(before, command);
            answer = Responses.of(0, FakeCalls.payloadOf(command));
            waiting.set(answer);
            return answer.length;
        }

        @Override
        public int readResponse(byte[] buffer) {
            assertEquals(8, buffer[0]);
            buffers.add(buffer);
            byte[] response = waiting.get();
            System.arraycopy(response, 0, buffer, 0, response.length);
            Arrays.fill(buffer, response.length, buffer.length, (byte) 0);
            return 0;
        }

        @Override
        public String getNativeError() {
            throw new AssertionError("no error");
        }

        @Override
        public void setCallback(Object callback) {
            throw new AssertionError("no callback");
        }
    }

    private final Echo echo = new Echo();
    private final Ferrolink cpp = new Ferrolink(Target.inMemory(RuntimeId.CPP), echo,
            new PlatformThreads(4), TimedThreads.shared());

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    private static byte[] filled(int size, int value) {
        byte[] bytes = new byte[size];
        Arrays.fill(bytes, (byte) value);
        return bytes;
    }

    private static void onNewThread(Runnable body) throws Exception {
        Threads.onEach(1, false, index -> body.run());
    }

    @Test
    @DisplayName("are used again by calls of the same size, and answers are arrays of their own")
    void reuse() throws Exception {
        onNewThread(() -> {
            byte[] first = cpp.call("f", bytes("abc"));
            byte[] second = cpp.call("f", bytes("xyz"));
            assertArrayEquals(bytes("abc"), first);
            assertArrayEquals(bytes("xyz"), second);
            assertEquals(1, echo.commands.size());
            assertEquals(1, echo.buffers.size());
        });
    }

    @Test
    @DisplayName("hold the right bytes after calls of every other size, handler and target")
    void sizes() throws Exception {
        Ferrolink python = new Ferrolink(Target.tcp(RuntimeId.PYTHON, "127.0.0.1", 8080), new FakeCalls(),
                new PlatformThreads(4), TimedThreads.shared());
        onNewThread(() -> {
            for (int size = 300; size >= 0; size--) {
                assertArrayEquals(filled(size, size), cpp.call("f", filled(size, size)));
                python.call("another", filled(size, 1));
                assertArrayEquals(filled(size, -1), cpp.call("other", filled(size, -1)));
            }
            for (byte[] command : echo.commands) {
                assertArrayEquals(new byte[] {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 2}, Arrays.copyOf(command, 11));
            }
        });
    }

    @Test
    @DisplayName("of nested calls on one thread are different ones")
    void nested() throws Exception {
        onNewThread(() -> {
            int[] depth = {0};
            echo.inside = () -> {
                if (depth[0]++ < 5) {
                    assertArrayEquals(bytes("abc" + depth[0]), cpp.call("f", bytes("abc" + depth[0])));
                }
            };
            assertArrayEquals(bytes("abc0"), cpp.call("f", bytes("abc0")));
            assertEquals(6, echo.commands.size());
            assertEquals(6, echo.buffers.size());
            assertArrayEquals(bytes("next"), cpp.call("f", bytes("next")));
            assertEquals(6, echo.commands.size());
        });
    }

    @Test
    @DisplayName("are given back by calls that fail")
    void failures() throws Exception {
        onNewThread(() -> {
            echo.inside = () -> {
                throw new IllegalStateException("broken");
            };
            assertThrows(IllegalStateException.class, () -> cpp.call("f", bytes("abc")));
            echo.inside = () -> { };
            assertArrayEquals(bytes("xyz"), cpp.call("f", bytes("xyz")));
            assertEquals(1, echo.commands.size());
        });
    }

    @Test
    @DisplayName("are kept up to a mebibyte of payload")
    void bound() throws Exception {
        onNewThread(() -> {
            byte[] kept = null;
            for (int size : new int[] {CallBuffers.MOST_KEPT, CallBuffers.MOST_KEPT + 1}) {
                CallBuffers buffers = CallBuffers.take();
                kept = buffers.command(size);
                buffers.response(size);
                buffers.giveBack();
                CallBuffers next = CallBuffers.take();
                assertSame(buffers, next);
                assertEquals(size == CallBuffers.MOST_KEPT, next.command(size) == kept);
                assertSame(next.response(size), next.response(size));
                next.giveBack();
            }
            assertTrue(CallBuffers.MOST_KEPT >= (1 << 20) + 11 + 1 + 255);
        });
    }

    @Test
    @DisplayName("for responses are as long as these, or an eighth longer")
    void responses() throws Exception {
        onNewThread(() -> {
            CallBuffers buffers = CallBuffers.take();
            byte[] first = buffers.response(900);
            assertEquals(900, first.length);
            assertSame(first, buffers.response(800));
            assertNotSame(first, buffers.response(799));
            assertEquals(799, buffers.response(799).length);
            assertEquals(900, buffers.response(900).length);
            buffers.giveBack();
        });
    }

    @Test
    @DisplayName("make repeated calls allocate their answers only, and nothing with a buffer of the caller's")
    void allocations() throws Exception {
        com.sun.management.ThreadMXBean threads =
                (com.sun.management.ThreadMXBean) ManagementFactory.getThreadMXBean();
        NativeCalls fixed = new NativeCalls() {
            @Override
            public int sendCommand(byte[] command) {
                return 11 + (1 << 20);
            }

            @Override
            public int readResponse(byte[] buffer) {
                buffer[10] = 0;
                return 0;
            }

            @Override
            public String getNativeError() {
                return "";
            }

            @Override
            public void setCallback(Object callback) {
                throw new AssertionError("no callback");
            }
        };
        Ferrolink ferrolink = new Ferrolink(Target.inMemory(RuntimeId.CPP), fixed, new PlatformThreads(4),
                TimedThreads.shared());
        byte[] payload = new byte[1 << 20];
        ByteBuffer direct = ByteBuffer.allocateDirect(1 << 20);
        onNewThread(() -> {
            long thread = Thread.currentThread().getId();
            long[] allocated = {0, 0};
            for (int call = 0; call < 5; call++) {
                long begin = threads.getThreadAllocatedBytes(thread);
                ferrolink.call("f", payload);
                long middle = threads.getThreadAllocatedBytes(thread);
                direct.clear();
                ferrolink.call("f", ByteBuffer.wrap(payload), direct);
                allocated[0] = middle - begin;
                allocated[1] = threads.getThreadAllocatedBytes(thread) - middle;
            }
            assertTrue(allocated[0] >= 1 << 20 && allocated[0] < (1 << 20) + 65536, () -> "" + allocated[0]);
            assertTrue(allocated[1] < 65536, () -> "" + allocated[1]);
        });
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    @DisplayName("of the caller's take the answer at their position, on threads of either kind")
    void ownBuffer(boolean virtual) throws Exception {
        Threads.onEach(1, virtual, index -> {
            ByteBuffer payload = ByteBuffer.wrap(bytes("(abc)"), 1, 3);
            ByteBuffer answer = ByteBuffer.allocateDirect(8);
            answer.put((byte) '.');
            assertEquals(3, cpp.call("f", payload, answer));
            assertEquals(1, payload.position());
            assertEquals(4, answer.position());
            assertEquals(8, answer.limit());
            assertEquals(0, cpp.call("f", ByteBuffer.allocate(0), answer));
            assertEquals(4, answer.position());
            assertEquals(4, cpp.call("f", ByteBuffer.wrap(bytes("defg")), answer));
            answer.flip();
            assertEquals(".abcdefg", StandardCharsets.US_ASCII.decode(answer).toString());
        });
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    @DisplayName("of the caller's that are too short stay as they are, and the exception has the answer")
    void tooShort(boolean virtual) throws Exception {
        Threads.onEach(1, virtual, index -> {
            byte[] room = bytes("......");
            ByteBuffer answer = ByteBuffer.wrap(room, 1, 2);
            AnswerTooLongException failure = assertThrows(AnswerTooLongException.class,
                    () -> cpp.call("f", ByteBuffer.wrap(bytes("abc")), answer));
            assertEquals("The answer has 3 bytes, and the buffer has room for 2. The handler was executed.",
                    failure.getMessage());
            assertArrayEquals(bytes("abc"), failure.answer());
            assertTrue(failure.mayHaveExecuted());
            assertEquals(1, answer.position());
            assertArrayEquals(bytes("......"), room);
        });
    }

    @Test
    @DisplayName("of the caller's may share their bytes with the payload")
    void sharedBytes() {
        byte[] room = bytes("abcdef");
        assertEquals(4, cpp.call("f", ByteBuffer.wrap(room, 0, 4), ByteBuffer.wrap(room, 2, 4)));
        assertArrayEquals(bytes("ababcd"), room);
    }

    @Test
    @DisplayName("of the caller's that are read-only are refused before anything is sent")
    void readOnly() {
        assertThrows(ReadOnlyBufferException.class,
                () -> cpp.call("f", ByteBuffer.allocate(1), ByteBuffer.allocate(1).asReadOnlyBuffer()));
        assertThrows(NullPointerException.class, () -> cpp.call("f", null, ByteBuffer.allocate(1)));
        assertThrows(NullPointerException.class, () -> cpp.call("f", ByteBuffer.allocate(1), null));
        assertTrue(echo.commands.isEmpty());
    }

    @Test
    @DisplayName("of the caller's stay as they are when the handler fails")
    void remoteFailure() {
        FakeCalls failing = new FakeCalls();
        failing.responder = command -> Responses.report("no");
        ByteBuffer answer = ByteBuffer.allocate(8);
        assertThrows(RemoteException.class, () -> new Ferrolink(Target.inMemory(RuntimeId.CPP), failing,
                PlatformThreads.shared(), TimedThreads.shared()).call("f", ByteBuffer.allocate(1), answer));
        assertEquals(0, answer.position());
        assertArrayEquals(new byte[8], answer.array());
    }

    @Test
    @DisplayName("for names of handlers are bounded, and further names work")
    void names() {
        for (int number = 0; number < 2 * HandlerNames.MOST_KEPT; number++) {
            assertArrayEquals(bytes("größe" + number), HandlerNames.encode("größe" + number));
        }
        assertEquals(HandlerNames.MOST_KEPT, HandlerNames.count());
        assertSame(HandlerNames.encode("größe0"), HandlerNames.encode("größe0"));
        assertFalse(HandlerNames.encode("größe2000") == HandlerNames.encode("größe2000"));
    }
}
