package com.ferrolink.core.objects;

/** What a member is; the order is that of their numbers in requests. */
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

    /** Null for a number that stands for none. */
    static MemberKind of(int number) {
        return number < ALL.length ? ALL[number] : null;
    }

    boolean isField() {
        return this == FIELD || this == STATIC_FIELD;
    }

    /** Whether it belongs to an object. */
    boolean hasSelf() {
        return this == METHOD || this == FIELD;
    }

    @Override
    public String toString() {
        return text;
    }
}
