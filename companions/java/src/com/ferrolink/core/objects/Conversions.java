package com.ferrolink.core.objects;

import java.util.HashMap;
import java.util.Map;

/**
 * The conversions of the language between types of arguments and of parameters. The type of an argument
 * is a class, a primitive one where a primitive value came; null stands for the type of {@code null}.
 */
final class Conversions {

    private static final Map<Class<?>, Class<?>> BOXES = new HashMap<>();
    private static final Map<Class<?>, Class<?>> PRIMITIVES = new HashMap<>();
    /** Primitive types in an order in which each widens to all behind it, but for char. */
    private static final Class<?>[] WIDENING = {byte.class, short.class, int.class, long.class,
        float.class, double.class};

    static {
        pair(boolean.class, Boolean.class);
        pair(byte.class, Byte.class);
        pair(short.class, Short.class);
        pair(char.class, Character.class);
        pair(int.class, Integer.class);
        pair(long.class, Long.class);
        pair(float.class, Float.class);
        pair(double.class, Double.class);
    }

    private Conversions() {
    }

    private static void pair(Class<?> primitive, Class<?> box) {
        BOXES.put(primitive, box);
        PRIMITIVES.put(box, primitive);
    }

    /** The class that boxes a primitive type; the type itself if it is none with values. */
    static Class<?> boxed(Class<?> type) {
        return type.isPrimitive() ? BOXES.getOrDefault(type, type) : type;
    }

    /** The primitive type that a class boxes; null if it boxes none. */
    static Class<?> unboxed(Class<?> type) {
        return PRIMITIVES.get(type);
    }

    /** Without boxing: the same type, a wider primitive one, a class that it extends. */
    static boolean isStrict(Class<?> from, Class<?> to) {
        if (from == null) {
            return !to.isPrimitive();
        }
        return from.isPrimitive() ? to.isPrimitive() && widens(from, to) : to.isAssignableFrom(from);
    }

    /** With boxing, too. */
    static boolean isLoose(Class<?> from, Class<?> to) {
        if (isStrict(from, to)) {
            return true;
        }
        if (from == null) {
            return false;
        }
        if (from.isPrimitive()) {
            return !to.isPrimitive() && to.isAssignableFrom(boxed(from));
        }
        Class<?> primitive = unboxed(from);
        return primitive != null && to.isPrimitive() && widens(primitive, to);
    }

    /** Whether one type is as specific as another one for any expression: its subtype. */
    static boolean isSubtype(Class<?> type, Class<?> other) {
        if (type.isPrimitive() || other.isPrimitive()) {
            return type.isPrimitive() && other.isPrimitive() && widens(type, other);
        }
        return other.isAssignableFrom(type);
    }

    private static boolean widens(Class<?> from, Class<?> to) {
        if (from == to) {
            return true;
        }
        int rank = rankOf(to);
        return from == char.class ? rank >= 2 : rankOf(from) >= 0 && rankOf(from) < rank;
    }

    private static int rankOf(Class<?> type) {
        for (int rank = 0; rank < WIDENING.length; rank++) {
            if (WIDENING[rank] == type) {
                return rank;
            }
        }
        return -1;
    }

    /**
     * A value in the type that a variable has: widened, boxed or unboxed, and an integer of another size
     * if its value fits, as the language converts constants.
     *
     * @return null for null, which fits any reference
     * @throws Refusal if the value does not fit
     */
    static Object assign(Object value, Class<?> to, String what) {
        if (value == null) {
            if (to.isPrimitive()) {
                throw unfit("null", to, what);
            }
            return null;
        }
        Class<?> primitive = to.isPrimitive() ? to : unboxed(to);
        if (primitive == null ? to.isInstance(value) : boxed(to).isInstance(value)) {
            return value;
        }
        Object converted = primitive == null ? null : toPrimitive(value, primitive, to.isPrimitive());
        if (converted == null) {
            throw unfit(Signature.of(value.getClass()) + described(value), to, what);
        }
        return converted;
    }

    private static Refusal unfit(String value, Class<?> to, String what) {
        return new Refusal(Refusal.NO_CONVERSION, what + " is " + Signature.of(to) + ", and " + value
                + " does not fit.");
    }

    private static String described(Object value) {
        return value instanceof Number ? " " + value : "";
    }

    /** Null for what does not fit. */
    private static Object toPrimitive(Object value, Class<?> to, boolean widens) {
        Class<?> from = unboxed(value.getClass());
        if (from == null || from == boolean.class || to == boolean.class) {
            return null;
        }
        if (widens && widens(from, to)) {
            return widened(value, to);
        }
        if (from == float.class || from == double.class || to == float.class || to == double.class) {
            return null;
        }
        return fitting(value instanceof Character ? (Character) value : ((Number) value).longValue(), to);
    }

    private static Object widened(Object value, Class<?> to) {
        if (to == double.class) {
            return value instanceof Character ? (double) (Character) value : ((Number) value).doubleValue();
        }
        if (to == float.class) {
            return value instanceof Character ? (float) (Character) value : ((Number) value).floatValue();
        }
        return fitting(value instanceof Character ? (Character) value : ((Number) value).longValue(), to);
    }

    private static Object fitting(long value, Class<?> to) {
        if (to == byte.class) {
            return value == (byte) value ? (Object) (byte) value : null;
        }
        if (to == short.class) {
            return value == (short) value ? (Object) (short) value : null;
        }
        if (to == char.class) {
            return value == (char) value ? (Object) (char) value : null;
        }
        if (to == int.class) {
            return value == (int) value ? (Object) (int) value : null;
        }
        return value;
    }
}
