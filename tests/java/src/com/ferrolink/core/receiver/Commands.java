package com.ferrolink.core.receiver;

import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** Commands as the native library sends them. All of them come from the runtime {@link #CALLER}. */
final class Commands {

    static final byte CALLER = 7;

    private static final int LIBRARY_PATH = 24;

    private Commands() {
    }

    static byte[] of(int type, byte[] body) {
        byte[] command = Arrays.copyOf(header(type), 11 + body.length);
        System.arraycopy(body, 0, command, 11, body.length);
        return command;
    }

    static byte[] header(int type) {
        return new byte[] {2, 4, 1, 127, 0, 0, 1, 0x39, 0x30, CALLER, (byte) type};
    }

    static byte[] call(String handler, byte[] payload) {
        ByteArrayOutputStream body = new ByteArrayOutputStream();
        byte[] name = utf8(handler);
        body.write(name.length);
        body.writeBytes(name);
        body.writeBytes(payload);
        return of(2, body.toByteArray());
    }

    static byte[] call(String handler, String payload) {
        return call(handler, utf8(payload));
    }

    static byte[] loadLibrary(String path) {
        byte[] bytes = utf8(path);
        byte[] command = Arrays.copyOf(header(1), LIBRARY_PATH + bytes.length);
        System.arraycopy(bytes, 0, command, LIBRARY_PATH, bytes.length);
        return command;
    }

    static byte[] utf8(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }
}
