package com.ferrolink.core.receiver;

/**
 * The calling thread's interrupt flag around a command from native code. A thread that stays attached
 * runs many commands; what one leaves behind would make the next one's first blocking call fail. For
 * the use of this package and {@code com.ferrolink}.
 *
 * <p>A flag that was set before the command stays, and so does one of a thread that runs Java below
 * the command: that belongs to the code there, which another thread may have meant to interrupt.
 *
 * <p><b>Threads:</b> every method may be called by any number of threads at once.
 */
public final class InterruptFlag {

    /** The frames of {@link #endCommand} and of its caller. */
    private static final int OWN_FRAMES = 2;

    private InterruptFlag() {
    }

    /**
     * To be called first by a method that native code calls.
     *
     * @return what {@link #endCommand} is to be given
     */
    public static boolean beginCommand() {
        return Thread.currentThread().isInterrupted();
    }

    /**
     * To be called last by the method that native code calls, by itself. Throws nothing.
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
            // A flag too many ends a blocking call early; one too few may never be set again.
        }
    }
}
