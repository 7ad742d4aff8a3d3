package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;
import java.nio.charset.StandardCharsets;

/** Builds replies. */
final class ReplyFrame {

    private static final byte JVM = 2;

    private ReplyFrame() {
    }

    static byte[] success(byte caller, byte[] body) {
        return build(caller, CommandHeader.TYPE_ANSWER, body, 0);
    }

    static byte[] exception(byte caller, String text) {
        return build(caller, CommandHeader.TYPE_EXCEPTION_REPORT,
                text.getBytes(StandardCharsets.UTF_8), 0);
    }

    /** The answer to a heartbeat has the body of the command. */
    static byte[] heartBeat(byte caller, byte[] command) {
        return build(caller, CommandHeader.TYPE_ANSWER, command, CommandHeader.SIZE);
    }

    static byte[] libraryLoaded() {
        return CommandHeader.libraryLoaded(JVM);
    }

    /** Puts the header in front of a body that has room for it; that room is zero. */
    static void putSuccess(byte[] reply, byte caller) {
        CommandHeader.put(reply, caller, JVM, CommandHeader.TYPE_ANSWER);
    }

    private static byte[] build(byte caller, int type, byte[] source, int bodyStart) {
        int bodySize = source.length - bodyStart;
        byte[] reply = CommandHeader.allocate(caller, JVM, type, CommandHeader.SIZE + bodySize);
        System.arraycopy(source, bodyStart, reply, CommandHeader.SIZE, bodySize);
        return reply;
    }
}
