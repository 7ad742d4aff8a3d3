package com.ferrolink.core.objects;

/**
 * The object and the arguments of one call. Each argument has a type code: the class number of a
 * primitive type if it came as a primitive value, else that of the value's class; 0 for null.
 */
final class Arguments {

    static final int NULL_CODE = 0;
    static final int STRING_CODE = ClassIds.of(String.class);

    /** The object, or null if there is none, followed by the arguments. */
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

    /** Adds a value with the type of its class. */
    void set(int index, Object value) {
        set(index, value, value == null ? NULL_CODE : ClassIds.of(value.getClass()));
    }

    /** The types of the arguments. Null is the type of the null reference. */
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
