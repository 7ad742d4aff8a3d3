package com.ferrolink.core.objects;

/**
 * A request, or an answer of a C++ function, is refused for a reason that its sender can mend. Has no
 * stack frames, because only the message is sent.
 */
final class Refusal extends RuntimeException {

    static final int MALFORMED = 1;
    static final int STALE = 2;
    static final int NOT_FOUND = 3;
    static final int NO_OVERLOAD = 4;
    static final int NO_CONVERSION = 5;
    static final int REFUSED = 6;

    private static final long serialVersionUID = 1L;

    private final int kind;

    Refusal(int kind, String text) {
        super(text, null, false, false);
        this.kind = kind;
    }

    static Refusal malformed(int offset, String text) {
        return new Refusal(MALFORMED, "Malformed data at offset " + offset + ": " + text);
    }

    int kind() {
        return kind;
    }
}
