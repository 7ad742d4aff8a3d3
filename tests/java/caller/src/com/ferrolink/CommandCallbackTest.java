package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.ferrolink.core.receiver.Receiver;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.function.Function;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("Commands from other runtimes")
final class CommandCallbackTest {

    private static final byte[] ECHO = {2, 0, 0, 0, 0, 0, 0, 0, 0, 8, 2, 4, 'e', 'c', 'h', 'o', 7};
    private static final byte[] HEARTBEAT = {2, 0, 0, 0, 0, 0, 0, 0, 0, 8, 11, '1', '2'};

    private static byte[] answer(CommandListener listener, Object command) {
        Function<Object, Object> callback = new CommandCallback(listener);
        return (byte[]) callback.apply(command);
    }

    private static String reportFor(int caller, byte[] reply) {
        byte[] header = {(byte) caller, 0, 0, 0, 0, 0, 0, 0, 0, 2, 10};
        assertArrayEquals(header, Arrays.copyOf(reply, 11));
        return new String(reply, 11, reply.length - 11, StandardCharsets.UTF_8);
    }

    private static String refusal(Executable call) {
        return assertThrows(IllegalArgumentException.class, call).getMessage();
    }

    @Test
    @DisplayName("go to the listener as they are, and its reply goes back as it is")
    void passedOn() {
        byte[] reply = new byte[11];
        assertSame(reply, answer(command -> {
            assertSame(ECHO, command);
            return reply;
        }, ECHO));
    }

    @Test
    @DisplayName("can be taken apart and replied to")
    void helpers() {
        assertEquals("echo", CommandListener.handlerOf(ECHO));
        assertArrayEquals(new byte[] {7}, CommandListener.payloadOf(ECHO));
        assertArrayEquals(new byte[] {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 2},
                CommandListener.reply(ECHO, new byte[] {1, 2}));
    }

    @Test
    @DisplayName("can be taken apart in the same way with a time limit in front")
    void helpersWithTimeLimit() {
        byte[] command = {2, 0, 0, 0, 0, 0, 0, 0, 0, 8, 3, 0, 0, 1, 2, 2, 'u', 'p', 7, 9};
        assertEquals("up", CommandListener.handlerOf(command));
        assertArrayEquals(new byte[] {7, 9}, CommandListener.payloadOf(command));
        for (int size = 11; size < 16; size++) {
            byte[] cut = Arrays.copyOf(command, size);
            assertEquals("Malformed command: a call with a time limit begins with four bytes of"
                    + " milliseconds, and the length and the name of a handler; " + (size - 11)
                    + " bytes follow the header.", refusal(() -> CommandListener.handlerOf(cut)));
        }
        assertEquals("Malformed command: a handler's name of 2 bytes is announced, 1 bytes follow.",
                refusal(() -> CommandListener.payloadOf(Arrays.copyOf(command, 17))));
    }

    @Test
    @DisplayName("are only taken apart if they are what is asked for")
    void helperRefusals() {
        assertEquals("A command of type 11 calls no handler, only types 2 and 3 do.",
                refusal(() -> CommandListener.handlerOf(HEARTBEAT)));
        assertEquals("A command of type 11 calls no handler, only types 2 and 3 do.",
                refusal(() -> CommandListener.payloadOf(HEARTBEAT)));
        assertEquals("Malformed command: a handler's name of 4 bytes is announced, 2 bytes follow.",
                refusal(() -> CommandListener.payloadOf(Arrays.copyOf(ECHO, 14))));
        String text = "Malformed command: 10 bytes, shorter than the header of 11 bytes.";
        assertEquals(text, refusal(() -> CommandListener.handlerOf(new byte[10])));
        assertEquals(text, refusal(() -> CommandListener.reply(new byte[10], new byte[0])));
        assertThrows(NullPointerException.class, () -> CommandListener.reply(ECHO, null));
    }

    @Test
    @DisplayName("are heartbeats or incomplete without the listener's being asked")
    void withoutListener() {
        CommandListener unasked = command -> {
            throw new AssertionError("asked");
        };
        assertArrayEquals(new byte[] {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, '1', '2'},
                answer(unasked, HEARTBEAT));
        assertEquals("Malformed command: 10 bytes, shorter than the header of 11 bytes.",
                reportFor(0, answer(unasked, new byte[10])));
        assertEquals("Malformed command: null instead of bytes.", reportFor(0, answer(unasked, null)));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 2, 3, 10, 12, 255})
    @DisplayName("of all other types are the listener's")
    void otherTypes(int type) {
        byte[] command = ECHO.clone();
        command[10] = (byte) type;
        assertArrayEquals(new byte[] {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0},
                answer(any -> CommandListener.reply(any, new byte[0]), command));
    }

    @Test
    @DisplayName("are answered with a report of whatever the listener throws")
    void throwing() {
        String text = reportFor(8, answer(command -> {
            command[9] = 3;
            throw new java.io.IOException("größer", new Error("because"));
        }, ECHO.clone()));
        assertTrue(text.startsWith("java.io.IOException: größer\n    at com.ferrolink."), text);
        assertTrue(text.contains("\nCaused by: java.lang.Error: because\n"), text);
    }

    @Test
    @DisplayName("are answered when the listener exhausts the stack")
    void exhaustedStack() {
        CommandListener[] endless = new CommandListener[1];
        endless[0] = command -> endless[0].onCommand(command);
        String text = reportFor(8, answer(endless[0], ECHO));
        assertTrue(text.startsWith("java.lang.StackOverflowError"), text);
    }

    @Test
    @DisplayName("are answered with a refusal if the listener gives no reply")
    void badReplies() {
        CommandListener none = command -> null;
        String name = none.getClass().getName();
        assertEquals("The command listener (" + name + ") returned null instead of a reply, which has"
                + " a header of 11 bytes.", reportFor(8, answer(none, ECHO)));
        String text = reportFor(8, answer(command -> new byte[10], ECHO));
        assertTrue(text.endsWith(") returned 10 bytes instead of a reply, which has a header of 11"
                + " bytes."), text);
    }

    @Test
    @DisplayName("that are no bytes are answered too")
    void noBytes() {
        String text = reportFor(0, answer(Receiver::sendCommand, "text"));
        assertTrue(text.startsWith("java.lang.ClassCastException: "), text);
    }

    @Test
    @DisplayName("reach the installed handlers by name")
    void installedHandlers() {
        assertArrayEquals(new byte[] {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 7},
                answer(Receiver::sendCommand, ECHO));
    }
}
