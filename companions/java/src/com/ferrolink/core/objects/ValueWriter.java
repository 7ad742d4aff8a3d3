package com.ferrolink.core.objects;

import java.lang.reflect.Array;
import java.util.Arrays;

/**
 * Encodes objects as values. Counts the handles that it creates, so that they can be released if the
 * reply fails. Not thread-safe.
 */
final class ValueWriter {

    /** The form in which a request wants its result. */
    static final int WANT_NOTHING = 0;
    static final int WANT_OBJECT = 1;
    static final int WANT_VALUE = 2;

    /**
     * Arrays of at least this many bytes are parked and copied through memory if the request has a key.
     */
    private static final int PARKED_SIZE = 16 * 1024;
    /**
     * After this many bytes, nested arrays are sent as handles: arrays that contain themselves grow
     * fast.
     */
    private static final int MAXIMUM_NESTED = 64 << 20;

    private static final long[] NONE = {};

    private final WireWriter wire;
    private final HandleTable handles;
    /** Created with the first handle. */
    private long[] made = NONE;
    private int madeCount;

    ValueWriter(WireWriter wire, HandleTable handles) {
        this.wire = wire;
        this.handles = handles;
    }

    /** Reads the wanted form from a request. */
    static int want(WireReader request) {
        int want = request.u8();
        if (want > WANT_VALUE) {
            throw request.malformed(1, "there is no way " + want + " to want a result.");
        }
        return want;
    }

    WireWriter wire() {
        return wire;
    }

    /** The number of handles created so far. */
    int madeCount() {
        return madeCount;
    }

    /** Releases the handles created after the first {@code count}. */
    void releaseMade(int count) {
        while (madeCount > count) {
            handles.release(made[--madeCount]);
        }
    }

    /** @param key the key of the request; 0 if it has none */
    void result(Object value, int want, long key) {
        switch (want) {
            case WANT_NOTHING:
                wire.u8(Tag.VOID);
                break;
            case WANT_OBJECT:
                object(value);
                break;
            default:
                value(value, key, 0);
                break;
        }
    }

    /** Writes a handle, even if the value itself could be sent. Null is written as null. */
    void object(Object object) {
        if (object == null) {
            wire.u8(Tag.NULL);
            return;
        }
        wire.u8(Tag.OBJECT);
        handle(object);
        wire.i32(ClassIds.of(object.getClass()));
    }

    /** Writes only the handle. */
    void handle(Object object) {
        if (madeCount == made.length) {
            made = Arrays.copyOf(made, 2 * madeCount + 2);
        }
        long handle = handles.add(object);
        made[madeCount++] = handle;
        wire.i64(handle);
    }

    private void value(Object value, long key, int depth) {
        if (value instanceof String) {
            wire.u8(Tag.TEXT).text((String) value);
        } else if (value == null) {
            wire.u8(Tag.NULL);
        } else if (!primitive(value)) {
            Class<?> component = value.getClass().getComponentType();
            if (component == null || depth == ValueReader.MAXIMUM_DEPTH
                    || depth > 0 && wire.size() > MAXIMUM_NESTED) {
                object(value);
            } else if (component.isPrimitive()) {
                primitives(value, PrimitiveArrays.tagOf(component), depth == 0 ? key : 0);
            } else {
                array((Object[]) value, component, depth);
            }
        }
    }

    /** Writes the object by value if it is a boxed primitive. Returns whether it was one. */
    boolean primitive(Object value) {
        if (value instanceof Integer) {
            wire.u8(Tag.INT).i32((Integer) value);
        } else if (value instanceof Boolean) {
            wire.u8((Boolean) value ? Tag.TRUE : Tag.FALSE);
        } else if (value instanceof Double) {
            wire.u8(Tag.DOUBLE).i64(Double.doubleToRawLongBits((Double) value));
        } else if (value instanceof Long) {
            wire.u8(Tag.LONG).i64((Long) value);
        } else if (value instanceof Float) {
            wire.u8(Tag.FLOAT).i32(Float.floatToRawIntBits((Float) value));
        } else if (value instanceof Character) {
            wire.u8(Tag.CHAR).i16((Character) value);
        } else if (value instanceof Byte) {
            wire.u8(Tag.BYTE).u8((Byte) value);
        } else if (value instanceof Short) {
            wire.u8(Tag.SHORT).i16((Short) value);
        } else {
            return false;
        }
        return true;
    }

    private void primitives(Object array, int tag, long key) {
        int count = Array.getLength(array);
        long size = (long) count * PrimitiveArrays.sizeOf(tag);
        if (size >= PARKED_SIZE && key != 0 && NativeMemory.isEnabled(key)) {
            wire.u8(Tag.PARKED_ARRAY).u8(tag).i32(count);
            handle(array);
        } else {
            primitiveArray(array, tag);
        }
    }

    /** Writes an array of primitives with all its elements. */
    void primitiveArray(Object array, int tag) {
        int count = Array.getLength(array);
        wire.u8(Tag.PRIMITIVE_ARRAY).u8(tag).i32(count);
        int start = wire.claim((long) count * PrimitiveArrays.sizeOf(tag));
        PrimitiveArrays.write(tag, array, wire.bytes(), start);
    }

    private void array(Object[] array, Class<?> component, int depth) {
        arrayHead(component, array.length);
        for (Object element : array) {
            value(element, 0, depth + 1);
        }
    }

    /** Writes the data in front of the elements. */
    void arrayHead(Class<?> component, int count) {
        String name = component.getName().replace('.', '/');
        wire.u8(Tag.ARRAY).text(component.isArray() ? name : 'L' + name + ';').i32(count);
    }
}
