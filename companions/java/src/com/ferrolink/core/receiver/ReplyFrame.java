package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;
import java.nio.charset.StandardCharsets;

/** Builds replies. */
final class ReplyFrame {

    private static final byte JVM = 2;

    private ReplyFrame() {
    }

    static byte[] success(byte caller, byte[] body) {
        return address(caller, withRoom(body, 0));
    }

    /** Turns a body that has room for a header before it, all zero, into a reply of success. */
    static byte[] address(byte caller, byte[] reply) {
        CommandHeader.put(reply, caller, JVM, CommandHeader.TYPE_ANSWER);
        return reply;
    }

    /** The bytes from {@code start} to the end of the source, behind room for a header, all zero. */
    static byte[] withRoom(byte[] source, int start) {
        int size = source.length - start;
        // Nothing stands between the two lines: the compiler then clears only the room.
        byte[] reply = new byte[CommandHeader.SIZE + size];
        System.arraycopy(source, start, reply, CommandHeader.SIZE, size);
        return reply;
    }

    static byte[] exception(byte caller, String text) {
        byte[] reply = withRoom(text.getBytes(StandardCharsets.UTF_8), 0);
        CommandHeader.put(reply, caller, JVM, CommandHeader.TYPE_EXCEPTION_REPORT);
        return reply;
    }

    /** The answer to a heartbeat has the body of the command. */
    static byte[] heartBeat(byte caller, byte[] command) {
        return address(caller, withRoom(command, CommandHeader.SIZE));
    }

    static byte[] libraryLoaded() {
        return CommandHeader.libraryLoaded(JVM);
    }
}
