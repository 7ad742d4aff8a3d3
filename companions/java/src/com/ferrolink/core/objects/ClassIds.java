package com.ferrolink.core.objects;

import java.util.concurrent.atomic.AtomicInteger;

/**
 * Assigns a number to each class, from 1. A class keeps its number for its lifetime, and numbers are
 * never reused. The class itself holds its number, so this table keeps no class alive. The first eight
 * numbers are those of the primitive types, in the order of their tags.
 */
final class ClassIds {

    private static final AtomicInteger LAST = new AtomicInteger();

    private static final ClassValue<Integer> IDS = new ClassValue<Integer>() {
        @Override
        protected Integer computeValue(Class<?> type) {
            return LAST.incrementAndGet();
        }
    };

    static {
        for (int tag = Tag.BOOLEAN_ELEMENTS; tag <= Tag.DOUBLE; tag++) {
            of(PrimitiveArrays.elementOf(tag));
        }
    }

    private ClassIds() {
    }

    static int of(Class<?> type) {
        return IDS.get(type);
    }

    /** The number of the primitive type with this element tag. */
    static int ofPrimitive(int tag) {
        return tag - 1;
    }

    /** The primitive type of a number; null for the number of any other class. */
    static Class<?> primitive(int id) {
        return id >= 1 && id < Tag.DOUBLE ? PrimitiveArrays.elementOf(id + 1) : null;
    }
}
