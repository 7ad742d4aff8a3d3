package com.ferrolink.core.objects;

/** The kind of a member. The ordinals are the numbers in requests. */
enum MemberKind {
    METHOD("method"),
    STATIC_METHOD("static method"),
    CONSTRUCTOR("constructor"),
    FIELD("field"),
    STATIC_FIELD("static field");

    private static final MemberKind[] ALL = values();

    private final String text;

    MemberKind(String text) {
        this.text = text;
    }

    /** The kind of a number; null for unknown numbers. */
    static MemberKind of(int number) {
        return number < ALL.length ? ALL[number] : null;
    }

    boolean isField() {
        return this == FIELD || this == STATIC_FIELD;
    }

    /** Whether the member needs an object. */
    boolean hasSelf() {
        return this == METHOD || this == FIELD;
    }

    @Override
    public String toString() {
        return text;
    }
}
