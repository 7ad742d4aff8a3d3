package com.ferrolink;

/**
 * The time of a call was over before its answer came. Where {@link #mayHaveExecuted} is true the handler
 * may go on: in this process it does, and over a network the server is not told.
 *
 * <p><b>Threads:</b> immutable but for what every Throwable can be given; safe for any thread.
 */
public class DeadlineExceededException extends FerrolinkException {

    private static final long serialVersionUID = 1L;

    private DeadlineExceededException(String message, boolean mayHaveExecuted) {
        super(message, null, mayHaveExecuted);
    }

    DeadlineExceededException(Parts parts, boolean mayHaveExecuted) {
        super(parts, mayHaveExecuted);
    }

    /** In place of a text of the native library: the caller itself has given up. */
    static DeadlineExceededException of(Deadline limit, boolean begun) {
        return new DeadlineExceededException("The call's time of " + limit + " was over before "
                + (begun ? "its answer came. It goes on, and its answer will be dropped."
                        : "it was sent. Nothing was executed."), begun);
    }
}
