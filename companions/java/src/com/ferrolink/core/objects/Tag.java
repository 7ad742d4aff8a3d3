package com.ferrolink.core.objects;

/** The first byte of an encoded value. */
final class Tag {

    static final int NULL = 0;
    static final int FALSE = 1;
    static final int TRUE = 2;
    static final int BYTE = 3;
    static final int SHORT = 4;
    static final int CHAR = 5;
    static final int INT = 6;
    static final int LONG = 7;
    static final int FLOAT = 8;
    static final int DOUBLE = 9;
    static final int TEXT = 10;
    static final int OBJECT = 11;
    static final int PRIMITIVE_ARRAY = 12;
    static final int ARRAY = 13;
    static final int MEMORY = 14;
    static final int VOID = 15;
    static final int PARKED_ARRAY = 16;
    /** The result of an earlier request of the same batch. */
    static final int EARLIER = 17;

    /** The tag of boolean elements in arrays of primitives. */
    static final int BOOLEAN_ELEMENTS = TRUE;

    private Tag() {
    }
}
