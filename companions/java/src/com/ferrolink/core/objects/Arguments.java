package com.ferrolink.core.objects;

/**
 * The object and the arguments of one call. Each argument has a code for its type: the number of the
 * primitive type that came, or of the value's class; 0 for null.
 */
final class Arguments {

    static final int NULL_CODE = 0;
    static final int STRING_CODE = ClassIds.of(String.class);

    /** The object, null where there is none, and the arguments behind it. */
    final Object[] values;
    final int[] codes;

    Arguments(Object self, int count) {
        values = new Object[count + 1];
        values[0] = self;
        codes = new int[count];
    }

    Object self() {
        return values[0];
    }

    int count() {
        return codes.length;
    }

    void set(int index, Object value, int code) {
        values[index + 1] = value;
        codes[index] = code;
    }

    /** A value whose class counts. */
    void set(int index, Object value) {
        set(index, value, value == null ? NULL_CODE : ClassIds.of(value.getClass()));
    }

    /** The types; null stands for that of null. */
    Class<?>[] types() {
        Class<?>[] types = new Class<?>[codes.length];
        for (int index = 0; index < types.length; index++) {
            Class<?> primitive = ClassIds.primitive(codes[index]);
            Object value = values[index + 1];
            types[index] = primitive != null || value == null ? primitive : value.getClass();
        }
        return types;
    }
}
