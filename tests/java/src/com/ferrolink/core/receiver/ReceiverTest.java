package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("The receiver")
final class ReceiverTest {

    private static final String LISTED = "'. Known handlers: digest, echo, load-archives, objects.";

    @Test
    @DisplayName("answers a call of echo with exactly these bytes")
    void echo() {
        byte[] command = {2, 0, 0, 0, 0, 0, 0, 0, 0, 5, 2, 4, 'e', 'c', 'h', 'o', -1, 0, 127};
        byte[] untouched = command.clone();
        byte[] expected = {5, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, -1, 0, 127};
        assertArrayEquals(expected, Receiver.sendCommand(command));
        assertArrayEquals(untouched, command);
    }

    @Test
    @DisplayName("answers a call without payload with an empty body")
    void emptyEcho() {
        assertEquals(11, Receiver.sendCommand(Commands.call("echo", "")).length);
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 2, 6, 10, 11, 127, 128, 255})
    @DisplayName("addresses its replies to any calling runtime, successes and failures alike")
    void caller(int caller) {
        byte[] success = Commands.call("echo", "x");
        byte[] failure = Commands.call("none", "x");
        success[9] = (byte) caller;
        failure[9] = (byte) caller;
        assertArrayEquals(new byte[] {(byte) caller, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 'x'},
                Receiver.sendCommand(success));
        assertEquals("Unknown handler 'none" + LISTED,
                Replies.exceptionText(Receiver.sendCommand(failure), caller));
    }

    @Test
    @DisplayName("answers a heartbeat with the body that it came with, through either entry")
    void heartBeat() {
        byte[] command = Commands.of(11, new byte[] {1, 2, -3});
        byte[] expected = {Commands.CALLER, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 2, -3};
        assertArrayEquals(expected, Receiver.heartBeat(command));
        assertArrayEquals(expected, Receiver.sendCommand(command));
        assertArrayEquals(Arrays.copyOf(expected, 11), Receiver.heartBeat(Commands.header(11)));
    }

    @Test
    @DisplayName("does not carry out other commands that come as a heartbeat")
    void noHeartBeat() {
        assertEquals("Command type 2 came as a heartbeat, which is type 11.",
                Replies.exceptionText(Receiver.heartBeat(Commands.call("echo", "x"))));
    }

    @Test
    @DisplayName("names an unknown handler and lists the known ones")
    void unknownHandler() {
        assertEquals("Unknown handler 'größer" + LISTED,
                Replies.exceptionText(Receiver.sendCommand(Commands.call("größer", ""))));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 4, 10, 12, 127, 128, 255})
    @DisplayName("names a command type that it does not know")
    void unknownType(int type) {
        assertEquals("Unknown command type " + type + ". Known types: 1 (load a library),"
                + " 2 (call a handler), 3 (call a handler within a time), 11 (heartbeat).",
                Replies.exceptionText(Receiver.sendCommand(Commands.of(type, new byte[3]))));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 9, 10})
    @DisplayName("answers commands without a complete header, from a caller that it cannot know")
    void shortCommand(int size) {
        byte[] command = Arrays.copyOf(Commands.header(2), size);
        String expected =
                "Malformed command: " + size + " bytes, shorter than the header of 11 bytes.";
        assertEquals(expected, Replies.exceptionText(Receiver.sendCommand(command), 0));
        assertEquals(expected, Replies.exceptionText(Receiver.heartBeat(command), 0));
    }

    @Test
    @DisplayName("answers null")
    void nullCommand() {
        String expected = "Malformed command: null instead of bytes.";
        assertEquals(expected, Replies.exceptionText(Receiver.sendCommand(null), 0));
        assertEquals(expected, Replies.exceptionText(Receiver.heartBeat(null), 0));
    }

    @Test
    @DisplayName("says what is wrong with a call's body")
    void malformedCall() {
        assertEquals("Malformed command: the body is empty, it must begin with the length and the"
                + " name of a handler.", Replies.exceptionText(Receiver.sendCommand(Commands.header(2))));
        assertEquals("Malformed command: the handler's name is empty.",
                Replies.exceptionText(Receiver.sendCommand(Commands.of(2, new byte[] {0, 'x'}))));
        assertEquals("Malformed command: a handler's name of 200 bytes is announced, 3 bytes follow.",
                Replies.exceptionText(
                        Receiver.sendCommand(Commands.of(2, new byte[] {(byte) 200, 'a', 'b', 'c'}))));
    }

    @Test
    @DisplayName("carries out a call with a time limit like one without, whatever time is left")
    void callWithin() {
        byte[] command = {2, 0, 0, 0, 0, 0, 0, 0, 0, 5, 3, 0, 0, 0, 0, 4, 'e', 'c', 'h', 'o', -1, 0, 127};
        byte[] untouched = command.clone();
        byte[] expected = {5, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, -1, 0, 127};
        assertArrayEquals(expected, Receiver.sendCommand(command));
        assertArrayEquals(untouched, command);
        Arrays.fill(command, 11, 15, (byte) 0xFF);
        assertArrayEquals(expected, Receiver.sendCommand(command));
        assertEquals("Unknown handler 'none" + LISTED, Replies.exceptionText(
                Receiver.sendCommand(Commands.of(3, new byte[] {0, 0, 1, 0, 4, 'n', 'o', 'n', 'e'}))));
    }

    @Test
    @DisplayName("says what is wrong with the body of a call with a time limit")
    void malformedCallWithin() {
        for (int size = 0; size < 5; size++) {
            assertEquals("Malformed command: a call with a time limit begins with four bytes of"
                    + " milliseconds, and the length and the name of a handler; " + size
                    + " bytes follow the header.",
                    Replies.exceptionText(Receiver.sendCommand(Commands.of(3, new byte[size]))));
        }
        assertEquals("Malformed command: the handler's name is empty.",
                Replies.exceptionText(Receiver.sendCommand(Commands.of(3, new byte[] {1, 1, 1, 1, 0, 'x'}))));
        assertEquals("Malformed command: a handler's name of 200 bytes is announced, 1 bytes follow.",
                Replies.exceptionText(
                        Receiver.sendCommand(Commands.of(3, new byte[] {1, 1, 1, 1, (byte) 200, 'a'}))));
    }

    @Test
    @DisplayName("digests with the algorithm that the payload names")
    void digest() {
        byte[] reply = Receiver.sendCommand(Commands.call("digest", "\7SHA-256abc"));
        byte[] expected = new java.math.BigInteger(
                "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", 16).toByteArray();
        assertArrayEquals(Arrays.copyOfRange(expected, expected.length - 32, expected.length),
                Replies.successBody(reply));
    }

    @Test
    @DisplayName("names an unknown digest algorithm and lists the available ones")
    void unknownDigest() {
        String text = Replies.exceptionText(Receiver.sendCommand(Commands.call("digest", "\3XYZabc")));
        String first = text.substring(0, text.indexOf('\n'));
        assertTrue(first.startsWith("java.lang.IllegalArgumentException: Unknown digest algorithm 'XYZ'."
                + " Available: "), first);
        assertTrue(first.contains(", SHA-256, "), first);
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "\0", "\7SHA-25"})
    @DisplayName("says what is wrong with a digest's payload")
    void malformedDigest(String payload) {
        int needed = payload.length() < 2 ? 2 : 8;
        String text = Replies.exceptionText(Receiver.sendCommand(Commands.call("digest", payload)));
        assertEquals("java.lang.IllegalArgumentException: The payload of digest begins with the length"
                + " (one byte) and the name of an algorithm; " + payload.length() + " bytes came, "
                + needed + " are needed at least.", text.substring(0, text.indexOf('\n')));
    }

    @Test
    @DisplayName("has a last reply ready for every caller, and gives away copies of it")
    void lastResort() {
        for (int caller = 0; caller < 256; caller++) {
            byte[] reply = LastResortReply.to((byte) caller);
            assertEquals(LastResortReply.TEXT, Replies.exceptionText(reply, caller));
            assertNotSame(reply, LastResortReply.to((byte) caller));
        }
    }
}
