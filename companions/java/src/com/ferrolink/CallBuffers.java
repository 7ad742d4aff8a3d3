package com.ferrolink;

import java.lang.ref.SoftReference;

/**
 * The arrays of one call: its command, and then its response. A platform thread keeps them for its next
 * call. A nested call of the thread gets arrays of its own.
 *
 * <p>A thread keeps arrays of up to {@link #MOST_KEPT} bytes, which the collector frees before memory runs
 * out.
 *
 * <p><b>Threads:</b> for one thread.
 */
final class CallBuffers {

    /** The longest array that a thread keeps: a payload of 1 MiB, its header and the longest name fit. */
    static final int MOST_KEPT = (1 << 20) + 512;

    /** How much longer than a response its array may be, as a share: the native side fills it to its end. */
    private static final int SLACK = 8;

    private static final ThreadLocal<SoftReference<CallBuffers>> KEPT = new ThreadLocal<>();
    private static final byte[] NONE = {};

    private byte[] command = NONE;
    private byte[] response = NONE;
    private boolean isTaken = true;

    private CallBuffers() {
    }

    /** The arrays that the thread keeps, or others if a call of it uses them. A virtual thread keeps none. */
    static CallBuffers take() {
        if (PlatformThreads.isVirtual(Thread.currentThread())) {
            return new CallBuffers();
        }
        SoftReference<CallBuffers> reference = KEPT.get();
        CallBuffers kept = reference == null ? null : reference.get();
        if (kept == null) {
            kept = new CallBuffers();
            KEPT.set(new SoftReference<>(kept));
            return kept;
        }
        if (kept.isTaken) {
            return new CallBuffers();
        }
        kept.isTaken = true;
        return kept;
    }

    /** Ends the use of the arrays. To be called once, on the same thread, however the call ended. */
    void giveBack() {
        if (command.length > MOST_KEPT) {
            command = NONE;
        }
        if (response.length > MOST_KEPT) {
            response = NONE;
        }
        isTaken = false;
    }

    /** An array of exactly that size, with any contents. The native side takes its length as the command's. */
    byte[] command(int size) {
        if (command.length != size) {
            command = new byte[size];
        }
        return command;
    }

    /** Makes this array the response. Returns its length. */
    int adopt(byte[] whole) {
        response = whole;
        return whole.length;
    }

    /** An array of at least that size, with any contents. Asked for that size again, the same one. */
    byte[] response(int size) {
        int excess = response.length - size;
        if (excess < 0 || excess > size / SLACK) {
            response = new byte[size];
        }
        return response;
    }
}
