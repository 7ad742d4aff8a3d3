package com.ferrolink.test;

import java.nio.charset.StandardCharsets;

/** Sends commands to this JVM's own receiver, the way native code that Java called would. */
public final class Sender {
    static {
        System.load(System.getProperty("sender.library"));
    }

    private Sender() {
    }

    /** The body of the answer to an echo of {@code text}, or the text of the error, as text. */
    public static String echo(String text) {
        return new String(send(text.getBytes(StandardCharsets.UTF_8)), StandardCharsets.UTF_8);
    }

    private static native byte[] send(byte[] payload);
}
