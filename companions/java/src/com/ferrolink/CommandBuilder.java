package com.ferrolink;

import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.util.Objects;

/** Builds the commands that this JVM sends: a header of 11 bytes and a body. */
final class CommandBuilder {

    static final int HEADER_SIZE = 11;
    static final int TARGET_RUNTIME = 0;
    static final int COMMAND_TYPE = 10;

    static final int TYPE_LOAD_LIBRARY = 1;
    static final int TYPE_CALL_HANDLER = 2;
    static final int TYPE_CALL_WITHIN = 3;
    static final int TYPE_HEART_BEAT = 11;

    private static final int CHANNEL_TYPE = 2;
    private static final int ADDRESS = 3;
    private static final int PORT = 7;
    private static final int CALLING_RUNTIME = 9;

    /** Where the path of a load-library command begins; the bytes before it are zero. */
    private static final int LIBRARY_PATH = 24;

    /** The milliseconds that are left, at the beginning of the body, the highest byte first. */
    private static final int TIME_LEFT_SIZE = 4;

    /** The length of a handler's name is sent as one unsigned byte. */
    private static final int MAXIMUM_NAME_SIZE = 255;

    /** The longest arrays that all virtual machines can make. */
    private static final int MAXIMUM_SIZE = Integer.MAX_VALUE - 8;

    private CommandBuilder() {
    }

    static byte[] call(Target target, String handler, byte[] payload) {
        return call(target, TYPE_CALL_HANDLER, HEADER_SIZE, handler, payload);
    }

    /** A call with a time limit, which {@link #setTimeLeft} still has to put in. */
    static byte[] callWithin(Target target, String handler, byte[] payload) {
        return call(target, TYPE_CALL_WITHIN, HEADER_SIZE + TIME_LEFT_SIZE, handler, payload);
    }

    /**
     * Puts the time that is left into a call with a time limit.
     *
     * @param milliseconds 0 to 2^32 - 1
     */
    static void setTimeLeft(byte[] command, long milliseconds) {
        for (int index = 0; index < TIME_LEFT_SIZE; index++) {
            command[HEADER_SIZE + index] =
                    (byte) (milliseconds >>> Byte.SIZE * (TIME_LEFT_SIZE - 1 - index));
        }
    }

    /** The name's length stands at the offset {@code nameLength}, the name and the payload follow. */
    private static byte[] call(Target target, int type, int nameLength, String handler, byte[] payload) {
        byte[] name = encode("handler", handler);
        Objects.requireNonNull(payload, "payload");
        if (name.length == 0 || name.length > MAXIMUM_NAME_SIZE) {
            throw new IllegalArgumentException("A handler's name has 1 to 255 bytes in UTF-8, not "
                    + name.length + ".");
        }
        int payloadStart = nameLength + 1 + name.length;
        requireRoom((long) payloadStart + payload.length);
        byte[] command = header(target, type, payloadStart + payload.length);
        command[nameLength] = (byte) name.length;
        System.arraycopy(name, 0, command, nameLength + 1, name.length);
        System.arraycopy(payload, 0, command, payloadStart, payload.length);
        return command;
    }

    static byte[] heartbeat(Target target) {
        byte[] command = header(target, TYPE_HEART_BEAT, HEADER_SIZE + 2);
        command[HEADER_SIZE] = '1';
        command[HEADER_SIZE + 1] = '2';
        return command;
    }

    static byte[] loadLibrary(Target target, String path) {
        byte[] bytes = encode("path", path);
        if (bytes.length == 0 || path.indexOf('\0') >= 0) {
            throw new IllegalArgumentException("A library's path is not empty and has no zero"
                    + " characters.");
        }
        requireRoom((long) LIBRARY_PATH + bytes.length);
        byte[] command = header(target, TYPE_LOAD_LIBRARY, LIBRARY_PATH + bytes.length);
        System.arraycopy(bytes, 0, command, LIBRARY_PATH, bytes.length);
        return command;
    }

    /** The largest size is refused before it overflows; others may still exceed the heap. */
    static void requireRoom(long size) {
        if (size > MAXIMUM_SIZE) {
            throw new IllegalArgumentException("A command of " + size
                    + " bytes is longer than an array can be.");
        }
    }

    private static byte[] header(Target target, int type, int size) {
        byte[] command = new byte[size];
        command[TARGET_RUNTIME] = (byte) target.runtime().code();
        command[CHANNEL_TYPE] = (byte) target.channel().code();
        target.copyAddress(command, ADDRESS);
        command[PORT] = (byte) target.port();
        command[PORT + 1] = (byte) (target.port() >>> 8);
        command[CALLING_RUNTIME] = (byte) RuntimeId.JVM.code();
        command[COMMAND_TYPE] = (byte) type;
        return command;
    }

    /** Most names are, and need no encoder. */
    private static boolean isAscii(String text) {
        for (int index = 0; index < text.length(); index++) {
            if (text.charAt(index) >= 0x80) {
                return false;
            }
        }
        return true;
    }

    /** Refuses halves of surrogate pairs, which would silently become question marks. */
    private static byte[] encode(String what, String text) {
        Objects.requireNonNull(text, what);
        if (isAscii(text)) {
            return text.getBytes(StandardCharsets.US_ASCII);
        }
        try {
            ByteBuffer encoded = StandardCharsets.UTF_8.newEncoder().encode(CharBuffer.wrap(text));
            byte[] bytes = new byte[encoded.remaining()];
            encoded.get(bytes);
            return bytes;
        } catch (CharacterCodingException malformed) {
            throw new IllegalArgumentException("The " + what + " is no valid Unicode text.", malformed);
        }
    }
}
