package com.ferrolink.core.objects;

import java.util.HashMap;
import java.util.Map;

/**
 * The conversions of the Java language between types of arguments and of parameters. The type of an
 * argument is a class: a primitive one for a primitive value, and null for the null reference.
 */
final class Conversions {

    private static final Map<Class<?>, Class<?>> BOXES = new HashMap<>();
    private static final Map<Class<?>, Class<?>> PRIMITIVES = new HashMap<>();
    /** Primitive types. Each one widens to all later ones, except to char. */
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

    /** The box of a primitive type; the type itself for all other types and for void. */
    static Class<?> boxed(Class<?> type) {
        return type.isPrimitive() ? BOXES.getOrDefault(type, type) : type;
    }

    /** The primitive type of a box; null for other classes. */
    static Class<?> unboxed(Class<?> type) {
        return PRIMITIVES.get(type);
    }

    /**
     * Whether the argument fits without boxing: it has the same type, a narrower primitive type, or a
     * subclass.
     */
    static boolean isStrict(Class<?> from, Class<?> to) {
        if (from == null) {
            return !to.isPrimitive();
        }
        return from.isPrimitive() ? to.isPrimitive() && widens(from, to) : to.isAssignableFrom(from);
    }

    /** Whether the argument fits with boxing or unboxing. */
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

    /** Whether one type is at least as specific as another one: it is a subtype. */
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
     * Converts a value to the type of a variable. Widens, boxes and unboxes it. Also converts an
     * integer to another size if its value fits, as the language converts constants.
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

    /** Null if the value does not fit. */
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
