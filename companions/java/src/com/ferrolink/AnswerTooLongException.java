package com.ferrolink;

/**
 * The answer does not fit into the caller's buffer, in which nothing was written. The handler was executed,
 * and its answer is here.
 *
 * <p><b>Threads:</b> as for {@link FerrolinkException}. The answer's array is shared.
 */
public final class AnswerTooLongException extends FerrolinkException {

    private static final long serialVersionUID = 1L;

    /** The whole answer; null in a copy that was serialized. */
    private final transient byte[] answer;

    AnswerTooLongException(int room, byte[] answer) {
        super("The answer has " + answer.length + " bytes, and the buffer has room for " + room
                + ". The handler was executed.", null, true);
        this.answer = answer;
    }

    /**
     * The whole answer.
     *
     * @return always the same array; null if this exception was serialized
     */
    public byte[] answer() {
        return answer;
    }
}
