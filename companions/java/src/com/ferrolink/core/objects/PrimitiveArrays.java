package com.ferrolink.core.objects;

import java.lang.reflect.Array;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/** Arrays of primitives: their element tags, sizes, and bulk copies from and to bytes. */
final class PrimitiveArrays {

    private static final Class<?>[] ELEMENTS = {null, null, boolean.class, byte.class, short.class,
        char.class, int.class, long.class, float.class, double.class};
    private static final int[] SIZES = {0, 0, 1, 1, 2, 2, 4, 8, 4, 8};

    private PrimitiveArrays() {
    }

    /** Whether the tag is one of elements. */
    static boolean isElementTag(int tag) {
        return tag >= Tag.BOOLEAN_ELEMENTS && tag <= Tag.DOUBLE;
    }

    static Class<?> elementOf(int tag) {
        return ELEMENTS[tag];
    }

    static int sizeOf(int tag) {
        return SIZES[tag];
    }

    /** The element tag of a type; 0 if it is not a primitive type with values. */
    static int tagOf(Class<?> element) {
        for (int tag = Tag.BOOLEAN_ELEMENTS; tag <= Tag.DOUBLE; tag++) {
            if (ELEMENTS[tag] == element) {
                return tag;
            }
        }
        return 0;
    }

    static Object make(int tag, int count) {
        return Array.newInstance(ELEMENTS[tag], count);
    }

    /** Creates an array from bytes. All bytes must be present. */
    static Object read(int tag, int count, byte[] bytes, int offset) {
        Object array = make(tag, count);
        if (tag == Tag.BYTE) {
            System.arraycopy(bytes, offset, array, 0, count);
            return array;
        }
        if (tag == Tag.BOOLEAN_ELEMENTS) {
            boolean[] flags = (boolean[]) array;
            for (int index = 0; index < count; index++) {
                flags[index] = bytes[offset + index] != 0;
            }
            return array;
        }
        ByteBuffer buffer = view(bytes, offset, count * SIZES[tag]);
        switch (tag) {
            case Tag.SHORT:
                buffer.asShortBuffer().get((short[]) array);
                break;
            case Tag.CHAR:
                buffer.asCharBuffer().get((char[]) array);
                break;
            case Tag.INT:
                buffer.asIntBuffer().get((int[]) array);
                break;
            case Tag.LONG:
                buffer.asLongBuffer().get((long[]) array);
                break;
            case Tag.FLOAT:
                buffer.asFloatBuffer().get((float[]) array);
                break;
            default:
                buffer.asDoubleBuffer().get((double[]) array);
                break;
        }
        return array;
    }

    /** Writes the elements to bytes, which must have room for all of them. */
    static void write(int tag, Object array, byte[] bytes, int offset) {
        int count = Array.getLength(array);
        if (tag == Tag.BYTE) {
            System.arraycopy(array, 0, bytes, offset, count);
            return;
        }
        if (tag == Tag.BOOLEAN_ELEMENTS) {
            boolean[] flags = (boolean[]) array;
            for (int index = 0; index < count; index++) {
                bytes[offset + index] = (byte) (flags[index] ? 1 : 0);
            }
            return;
        }
        ByteBuffer buffer = view(bytes, offset, count * SIZES[tag]);
        switch (tag) {
            case Tag.SHORT:
                buffer.asShortBuffer().put((short[]) array);
                break;
            case Tag.CHAR:
                buffer.asCharBuffer().put((char[]) array);
                break;
            case Tag.INT:
                buffer.asIntBuffer().put((int[]) array);
                break;
            case Tag.LONG:
                buffer.asLongBuffer().put((long[]) array);
                break;
            case Tag.FLOAT:
                buffer.asFloatBuffer().put((float[]) array);
                break;
            default:
                buffer.asDoubleBuffer().put((double[]) array);
                break;
        }
    }

    private static ByteBuffer view(byte[] bytes, int offset, int size) {
        return ByteBuffer.wrap(bytes, offset, size).order(ByteOrder.LITTLE_ENDIAN);
    }
}
