package com.ferrolink.core.objects;

/** Names of types as in source code. */
final class Signature {

    private Signature() {
    }

    /** The name of a type, such as {@code java.util.Map$Entry} or {@code int[]}. */
    static String of(Class<?> type) {
        return type == null ? "null" : type.getTypeName();
    }

    /**
     * A list of parameters, such as {@code (int, java.lang.String)}. The last one of a variable number
     * is written as {@code int...}.
     */
    static String of(Class<?>[] types, boolean varargs) {
        StringBuilder text = new StringBuilder("(");
        for (int index = 0; index < types.length; index++) {
            text.append(index == 0 ? "" : ", ");
            if (varargs && index == types.length - 1) {
                text.append(of(types[index].getComponentType())).append("...");
            } else {
                text.append(of(types[index]));
            }
        }
        return text.append(')').toString();
    }
}
