package com.ferrolink;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** Responses as targets send them to this JVM. */
final class Responses {

    private Responses() {
    }

    static byte[] of(int type, byte... body) {
        byte[] response = Arrays.copyOf(
                new byte[] {2, 0, 0, 0, 0, 0, 0, 0, 0, 8, (byte) type}, 11 + body.length);
        System.arraycopy(body, 0, response, 11, body.length);
        return response;
    }

    static byte[] report(String text) {
        return of(10, text.getBytes(StandardCharsets.UTF_8));
    }
}
