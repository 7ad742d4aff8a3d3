package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("Answers to commands")
final class AnswersToCommandsTest {

    private static final byte[] NOTHING = {};

    private final FakeCalls calls = new FakeCalls();
    private final Target target = Target.tcp(RuntimeId.CPP, "127.0.0.1", 9);
    private final Ferrolink ferrolink = new Ferrolink(target, calls, PlatformThreads.shared(),
            TimedThreads.shared());

    @Test
    @DisplayName("are the body of the response, in an array of their own")
    void body() {
        byte[] response = Responses.of(0, (byte) 1, (byte) 2, (byte) -3);
        calls.responder = command -> response;
        byte[] first = ferrolink.call("f", NOTHING);
        assertArrayEquals(new byte[] {1, 2, -3}, first);
        assertNotSame(first, ferrolink.call("f", NOTHING));
    }

    @Test
    @DisplayName("may be empty")
    void empty() {
        assertArrayEquals(NOTHING, ferrolink.call("f", NOTHING));
    }

    @Test
    @DisplayName("are read with a buffer of their length that holds the target's number, else zeros")
    void buffer() {
        calls.responder = command -> Responses.of(0, (byte) 1, (byte) 2);
        ferrolink.call("f", NOTHING);
        byte[] expected = Arrays.copyOf(new byte[] {8}, 13);
        assertEquals(1, calls.buffers.size());
        assertArrayEquals(expected, calls.buffers.get(0));
    }

    @Test
    @DisplayName("to a heartbeat may carry any body")
    void heartbeat() {
        calls.responder = command -> Responses.of(0, (byte) 9);
        ferrolink.heartbeat();
        assertEquals(1, calls.buffers.size());
    }

    @Test
    @DisplayName("to a load-library command may be the fixed one of 17 bytes")
    void libraryLoaded() {
        calls.responder = command -> new byte[] {2, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2, 4, 0, 0, 0, 0};
        ferrolink.loadLibrary("x.jar");
        assertEquals(17, calls.buffers.get(0).length);
    }

    @Test
    @DisplayName("that report an exception become one with the remote text")
    void remote() {
        calls.responder = command -> Responses.report("std::runtime_error: größer\n    at f");
        for (Runnable command : Arrays.<Runnable>asList(() -> ferrolink.call("f", NOTHING),
                ferrolink::heartbeat, () -> ferrolink.loadLibrary("x"))) {
            RemoteException failure = assertThrows(RemoteException.class, command::run);
            assertEquals("std::runtime_error: größer\n    at f", failure.remoteText());
            assertEquals(failure.remoteText(), failure.getMessage());
        }
    }

    @Test
    @DisplayName("that report an exception badly become one nevertheless")
    void malformedReport() {
        calls.responder = command -> Responses.of(10, (byte) 'a', (byte) 0xFF);
        assertEquals("a\uFFFD",
                assertThrows(RemoteException.class, ferrolink::heartbeat).remoteText());
        calls.responder = command -> Responses.of(10);
        RemoteException empty = assertThrows(RemoteException.class, ferrolink::heartbeat);
        assertEquals("", empty.remoteText());
        assertEquals("The target gave no reason.", empty.getMessage());
        calls.responder = command -> Responses.of(10, (byte) 0xFF, (byte) 1);
        RemoteException binary = assertThrows(RemoteException.class, ferrolink::heartbeat);
        assertEquals("\uFFFD\u0001", binary.remoteText());
        assertEquals("The target gave a reason that is not readable: \\uFFFD\\u0001",
                binary.getMessage());
    }

    @ParameterizedTest
    @ValueSource(ints = {1, 2, 9, 11, 128, 255})
    @DisplayName("of another type are refused")
    void unknownType(int type) {
        calls.responder = command -> Responses.of(type);
        FerrolinkException failure = assertThrows(FerrolinkException.class, ferrolink::heartbeat);
        assertEquals("Cpp at 127.0.0.1:9 (TCP) answered with type " + type + ", which is neither an"
                + " answer (0) nor an exception report (10).", failure.getMessage());
        assertEquals(-1, failure.code());
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 10})
    @DisplayName("without a complete header are refused and not read")
    void tooShort(int size) {
        calls.responder = command -> new byte[size];
        FerrolinkException failure = assertThrows(FerrolinkException.class, ferrolink::heartbeat);
        assertEquals("The runtime answered with " + size + " bytes, less than the header of 11 bytes.",
                failure.getMessage());
        assertEquals(failure.getMessage(), failure.text());
        assertEquals("", failure.prefix());
        assertTrue(calls.buffers.isEmpty());
    }

    @Test
    @DisplayName("that do not come are failures with the native text, and nothing is read")
    void sendFails() {
        calls.responder = command -> null;
        calls.error = "Ferrolink Native Exception: Exception code 020. \nNo channel selected";
        FerrolinkException failure = assertThrows(FerrolinkException.class, ferrolink::heartbeat);
        assertEquals(calls.error, failure.getMessage());
        assertEquals(20, failure.code());
        assertEquals("No channel selected", failure.text());
        assertTrue(calls.buffers.isEmpty());
        assertEquals(2, calls.threads.size());
    }

    @Test
    @DisplayName("that cannot be read are failures with the native text")
    void readFails() {
        calls.readFails = true;
        calls.error = "JVM Launcher: Exception code 017.\nError while reading response";
        FerrolinkException failure =
                assertThrows(FerrolinkException.class, () -> ferrolink.call("f", NOTHING));
        assertEquals("JVM Launcher", failure.prefix());
        assertEquals(17, failure.code());
        assertEquals(3, calls.threads.size());
    }

    @Test
    @DisplayName("without a native text are failures nevertheless")
    void noText() {
        calls.responder = command -> null;
        calls.error = null;
        assertEquals("The native library gave no reason.",
                assertThrows(FerrolinkException.class, ferrolink::heartbeat).getMessage());
    }

    @Test
    @DisplayName("do not come from a closed object, which sends nothing")
    void closed() {
        ferrolink.heartbeat();
        ferrolink.close();
        ferrolink.close();
        String text = "This Ferrolink to Cpp at 127.0.0.1:9 (TCP) is closed.";
        assertEquals(text,
                assertThrows(IllegalStateException.class, ferrolink::heartbeat).getMessage());
        assertThrows(IllegalStateException.class, () -> ferrolink.call("f", NOTHING));
        assertThrows(IllegalStateException.class, () -> ferrolink.loadLibrary("x"));
        assertEquals(1, calls.sent.size());
        assertSame(target, ferrolink.target());
        assertEquals("Ferrolink to Cpp at 127.0.0.1:9 (TCP), closed", ferrolink.toString());
    }

    @Test
    @DisplayName("come to commands that were under way when the object was closed")
    void closedMeanwhile() {
        calls.responder = command -> {
            ferrolink.close();
            return Responses.of(0, (byte) 7);
        };
        assertArrayEquals(new byte[] {7}, ferrolink.call("f", NOTHING));
        assertThrows(IllegalStateException.class, ferrolink::heartbeat);
    }

    @Test
    @DisplayName("come to other objects after one was closed")
    void othersStayOpen() {
        ferrolink.close();
        new Ferrolink(target, calls, PlatformThreads.shared(), TimedThreads.shared()).heartbeat();
        assertEquals(1, calls.sent.size());
    }

    @Test
    @DisplayName("that do not come tell whether the command may have been executed")
    void mayHaveExecuted() {
        calls.responder = command -> null;
        calls.error = "Ferrolink Native Exception: Exception code 019. \nRuntime not loaded: Cpp";
        assertFalse(assertThrows(FerrolinkException.class, ferrolink::heartbeat).mayHaveExecuted());
        calls.responder = command -> Responses.of(0);
        calls.readFails = true;
        assertTrue(assertThrows(FerrolinkException.class, ferrolink::heartbeat).mayHaveExecuted());
        calls.readFails = false;
        calls.responder = command -> new byte[3];
        assertTrue(assertThrows(FerrolinkException.class, ferrolink::heartbeat).mayHaveExecuted());
        calls.responder = command -> Responses.of(7);
        assertTrue(assertThrows(FerrolinkException.class, ferrolink::heartbeat).mayHaveExecuted());
    }
}
