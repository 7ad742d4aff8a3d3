package com.ferrolink;

/**
 * A call's time was over before its answer came. If {@link #mayHaveExecuted} is true, the handler may
 * still run: in this process it does; over a network the server is not told.
 *
 * <p><b>Threads:</b> immutable, except for what every Throwable allows; thread-safe.
 */
public class DeadlineExceededException extends FerrolinkException {

    private static final long serialVersionUID = 1L;

    private DeadlineExceededException(String message, boolean mayHaveExecuted) {
        super(message, null, mayHaveExecuted);
    }

    DeadlineExceededException(Parts parts, boolean mayHaveExecuted) {
        super(parts, mayHaveExecuted);
    }

    /** For callers that gave up themselves, without an error of the native library. */
    static DeadlineExceededException of(Deadline limit, boolean begun) {
        return new DeadlineExceededException("The call's time of " + limit + " was over before "
                + (begun ? "its answer came. It goes on, and its answer will be dropped."
                        : "it was sent. Nothing was executed."), begun);
    }
}
