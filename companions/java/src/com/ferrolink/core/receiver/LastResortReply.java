package com.ferrolink.core.receiver;

/**
 * Exception replies that exist before anything goes wrong, one for every value of the calling runtime:
 * with neither heap nor stack left, the caller still gets an answer that is addressed to it.
 */
final class LastResortReply {

    static final String TEXT = "The command failed, and Java had not enough memory or stack left to"
            + " describe the error.";

    private static final byte[][] REPLIES = buildAll();

    private LastResortReply() {
    }

    /** A copy where there is room for one, else the prepared array itself. */
    static byte[] to(byte caller) {
        byte[] reply = REPLIES[caller & 0xFF];
        try {
            return reply.clone();
        } catch (Throwable noRoom) {
            return reply;
        }
    }

    private static byte[][] buildAll() {
        byte[][] replies = new byte[256][];
        for (int caller = 0; caller < replies.length; caller++) {
            replies[caller] = ReplyFrame.exception((byte) caller, TEXT);
        }
        return replies;
    }
}
