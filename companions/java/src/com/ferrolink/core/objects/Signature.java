package com.ferrolink.core.objects;

/** Types as source code writes them. */
final class Signature {

    private Signature() {
    }

    /** {@code java.util.Map$Entry}, {@code int[]}. */
    static String of(Class<?> type) {
        return type == null ? "null" : type.getTypeName();
    }

    /** {@code (int, java.lang.String)}; the last of a variable number is {@code int...}. */
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
