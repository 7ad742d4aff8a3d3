package com.ferrolink.core.receiver;

/**
 * Clears the interrupt flag that a command from native code leaves on its thread. An attached thread runs
 * many commands, and the flag would make the next one's first blocking call fail. For the use of this
 * package and {@code com.ferrolink}.
 *
 * <p>Two flags stay. A flag that was set before the command. And a flag on a thread with Java frames below
 * the command: another thread may have meant to interrupt that code.
 *
 * <p><b>Threads:</b> thread-safe.
 */
public final class InterruptFlag {

    /** The frames of {@link #endCommand} and of its caller. */
    private static final int OWN_FRAMES = 2;

    private InterruptFlag() {
    }

    /**
     * To be called first in a method that native code calls.
     *
     * @return the argument for {@link #endCommand}
     */
    public static boolean beginCommand() {
        return Thread.currentThread().isInterrupted();
    }

    /**
     * To be called last, directly in the method that native code calls. Throws nothing.
     *
     * @param before what {@link #beginCommand} returned
     */
    public static void endCommand(boolean before) {
        if (before || !Thread.currentThread().isInterrupted()) {
            return;
        }
        try {
            if (new Throwable().getStackTrace().length == OWN_FRAMES) {
                Thread.interrupted();
            }
        } catch (OutOfMemoryError unknown) {
            // Keep the flag: an extra one ends a blocking call early, a lost one may never be set again.
        }
    }
}
