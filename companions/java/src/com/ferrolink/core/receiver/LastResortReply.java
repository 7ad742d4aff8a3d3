package com.ferrolink.core.receiver;

/**
 * Exception reports that are built at start-up, one for each calling runtime. Without heap or stack left,
 * the caller still gets an answer that is addressed to it.
 */
final class LastResortReply {

    static final String TEXT = "The command failed, and Java had not enough memory or stack left to"
            + " describe the error.";

    private static final byte[][] REPLIES = buildAll();

    private LastResortReply() {
    }

    /** A copy of the prepared report; the report itself if there is no memory. */
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
