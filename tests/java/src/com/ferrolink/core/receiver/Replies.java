package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** Takes replies apart; each method checks the whole header first. */
final class Replies {

    private Replies() {
    }

    static byte[] successBody(byte[] reply) {
        assertEquals(0, reply[10], () -> new String(reply, StandardCharsets.UTF_8));
        return body(reply, Commands.CALLER, 0);
    }

    static String successText(byte[] reply) {
        return new String(successBody(reply), StandardCharsets.UTF_8);
    }

    static String exceptionText(byte[] reply) {
        return exceptionText(reply, Commands.CALLER);
    }

    static String exceptionText(byte[] reply, int caller) {
        return new String(body(reply, caller, 10), StandardCharsets.UTF_8);
    }

    private static byte[] body(byte[] reply, int caller, int type) {
        byte[] expected = {(byte) caller, 0, 0, 0, 0, 0, 0, 0, 0, 2, (byte) type};
        assertArrayEquals(expected, Arrays.copyOf(reply, 11));
        return Arrays.copyOfRange(reply, 11, reply.length);
    }
}
