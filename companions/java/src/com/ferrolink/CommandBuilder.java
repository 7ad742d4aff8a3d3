package com.ferrolink;

import com.ferrolink.core.protocol.CommandHeader;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.util.Objects;

/** Builds the commands that this JVM sends. */
final class CommandBuilder {

    /** The longest array that every JVM can allocate. */
    private static final int MAXIMUM_SIZE = Integer.MAX_VALUE - 8;

    private CommandBuilder() {
    }

    static byte[] call(Target target, String handler, byte[] payload) {
        return call(target, CommandHeader.TYPE_CALL_HANDLER, CommandHeader.NAME_LENGTH, handler, payload);
    }

    /** A call whose time limit is zero until {@link #setTimeLeft} sets it. */
    static byte[] callWithin(Target target, String handler, byte[] payload) {
        return call(target, CommandHeader.TYPE_CALL_WITHIN, CommandHeader.NAME_LENGTH_WITHIN, handler,
                payload);
    }

    /**
     * Sets the time limit of a call that has one.
     *
     * @param milliseconds 0 to 2^32 - 1
     */
    static void setTimeLeft(byte[] command, long milliseconds) {
        ByteBuffer.wrap(command).putInt(CommandHeader.TIME_LIMIT, (int) milliseconds);
    }

    /** @param nameLength the offset of the length of the handler's name */
    private static byte[] call(Target target, int type, int nameLength, String handler, byte[] payload) {
        byte[] name = HandlerNames.encode(handler);
        Objects.requireNonNull(payload, "payload");
        int payloadStart = nameLength + 1 + name.length;
        byte[] command = new byte[requireRoom((long) payloadStart + payload.length)];
        System.arraycopy(payload, 0, command, payloadStart, payload.length);
        putHead(command, target, type, nameLength, name);
        return command;
    }

    /** The size of a call without a time limit. */
    static int callSize(byte[] name, int payloadSize) {
        return requireRoom((long) CommandHeader.NAME_LENGTH + 1 + name.length + payloadSize);
    }

    /** Puts all of a call but its payload. Returns the offset of the payload. */
    static int putCall(byte[] command, Target target, byte[] name) {
        putHead(command, target, CommandHeader.TYPE_CALL_HANDLER, CommandHeader.NAME_LENGTH, name);
        return CommandHeader.NAME_LENGTH + 1 + name.length;
    }

    private static void putHead(byte[] command, Target target, int type, int nameLength, byte[] name) {
        putHeader(command, target, type);
        command[nameLength] = (byte) name.length;
        System.arraycopy(name, 0, command, nameLength + 1, name.length);
    }

    static byte[] heartbeat(Target target) {
        byte[] command = header(target, CommandHeader.TYPE_HEART_BEAT, CommandHeader.SIZE + 2);
        command[CommandHeader.SIZE] = '1';
        command[CommandHeader.SIZE + 1] = '2';
        return command;
    }

    static byte[] loadLibrary(Target target, String path) {
        byte[] bytes = encode("path", path);
        if (bytes.length == 0 || path.indexOf('\0') >= 0) {
            throw new IllegalArgumentException("A library's path is not empty and has no zero"
                    + " characters.");
        }
        byte[] command = header(target, CommandHeader.TYPE_LOAD_LIBRARY,
                requireRoom((long) CommandHeader.LIBRARY_PATH + bytes.length));
        System.arraycopy(bytes, 0, command, CommandHeader.LIBRARY_PATH, bytes.length);
        return command;
    }

    /** Refuses sizes that no array can have. Smaller ones may still exceed the heap. */
    static int requireRoom(long size) {
        if (size > MAXIMUM_SIZE) {
            throw new IllegalArgumentException("A command of " + size
                    + " bytes is longer than an array can be.");
        }
        return (int) size;
    }

    private static byte[] header(Target target, int type, int size) {
        byte[] command = new byte[size];
        putHeader(command, target, type);
        return command;
    }

    private static void putHeader(byte[] command, Target target, int type) {
        CommandHeader.put(command, target.runtime().code(), RuntimeId.JVM.code(), type);
        command[CommandHeader.LAUNCH_ARGUMENT] = 0;
        command[CommandHeader.CHANNEL_TYPE] = (byte) target.channel().code();
        target.copyAddress(command, CommandHeader.ADDRESS);
        command[CommandHeader.PORT] = (byte) target.port();
        command[CommandHeader.PORT + 1] = (byte) (target.port() >>> 8);
    }

    /** Most names are ASCII, which needs no encoder. */
    private static boolean isAscii(String text) {
        for (int index = 0; index < text.length(); index++) {
            if (text.charAt(index) >= 0x80) {
                return false;
            }
        }
        return true;
    }

    /** Refuses unpaired surrogates: the usual encoder silently replaces them by question marks. */
    static byte[] encode(String what, String text) {
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
