package com.ferrolink.core.receiver;

import java.nio.charset.StandardCharsets;

/** Builds replies: a header of 11 bytes that names the addressed runtime, and a body. */
final class ReplyFrame {

    static final byte TYPE_SUCCESS = 0;
    static final byte TYPE_EXCEPTION = 10;

    private static final byte JVM = 2;

    /** From and to the JVM, command type 0, and two bytes that say "library loaded". */
    private static final byte[] LIBRARY_LOADED =
        {JVM, 0, 0, 0, 0, 0, 0, 0, 0, JVM, 0, 0x02, 0x04, 0, 0, 0, 0};

    private ReplyFrame() {
    }

    static byte[] success(byte caller, byte[] body) {
        return build(caller, TYPE_SUCCESS, body, 0);
    }

    static byte[] exception(byte caller, String text) {
        return build(caller, TYPE_EXCEPTION, text.getBytes(StandardCharsets.UTF_8), 0);
    }

    /** A reply that carries the body of the command. */
    static byte[] heartBeat(byte caller, byte[] command) {
        return build(caller, TYPE_SUCCESS, command, CommandFrame.HEADER_SIZE);
    }

    /** The answer to load-library, the same for every caller and every runtime of the family. */
    static byte[] libraryLoaded() {
        return LIBRARY_LOADED.clone();
    }

    /** Puts the header in front of a body that has room for it; that room is zero. */
    static void putSuccess(byte[] reply, byte caller) {
        putHeader(reply, caller, TYPE_SUCCESS);
    }

    private static void putHeader(byte[] reply, byte caller, byte type) {
        reply[0] = caller;
        reply[CommandFrame.CALLING_RUNTIME] = JVM;
        reply[CommandFrame.COMMAND_TYPE] = type;
    }

    private static byte[] build(byte caller, byte type, byte[] source, int bodyStart) {
        int bodySize = source.length - bodyStart;
        byte[] reply = new byte[CommandFrame.HEADER_SIZE + bodySize];
        putHeader(reply, caller, type);
        System.arraycopy(source, bodyStart, reply, CommandFrame.HEADER_SIZE, bodySize);
        return reply;
    }
}
