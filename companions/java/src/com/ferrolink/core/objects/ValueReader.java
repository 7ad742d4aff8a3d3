package com.ferrolink.core.objects;

import java.lang.reflect.Array;
import java.util.List;

/** Decodes values into objects. Not thread-safe. */
final class ValueReader {

    /** The maximum nesting of arrays. */
    static final int MAXIMUM_DEPTH = 32;
    /** In place of the object's handle: the first value is the object. */
    private static final long SELF_FIRST = -1;

    private final WireReader wire;
    private final HandleTable handles;
    private final ClassFinder classes;
    /** The results of earlier requests; null outside a batch. */
    private final List<Object> earlier;
    /** Whether handles are released as soon as their objects are found. */
    private final boolean takesOver;

    /** The type code of the last value. */
    private int code;

    private ValueReader(WireReader wire, HandleTable handles, ClassFinder classes, List<Object> earlier,
            boolean takesOver) {
        this.wire = wire;
        this.handles = handles;
        this.classes = classes;
        this.earlier = earlier;
        this.takesOver = takesOver;
    }

    /**
     * Reads a request. The sender keeps the handles in it.
     *
     * @param earlier the results of earlier requests of the batch; null outside a batch
     */
    static ValueReader ofRequest(WireReader wire, HandleTable handles, ClassFinder classes,
            List<Object> earlier) {
        return new ValueReader(wire, handles, classes, earlier, false);
    }

    /** Reads the answer of a function. The reader owns the handles in it and releases them at once. */
    static ValueReader ofAnswer(WireReader wire, HandleTable handles, ClassFinder classes) {
        return new ValueReader(wire, handles, classes, null, true);
    }

    WireReader wire() {
        return wire;
    }

    /**
     * Reads the object, which may be the first value, the number of values, and the values of a call.
     */
    Arguments arguments() {
        long handle = wire.i64();
        Object self = handle == 0 || handle == SELF_FIRST ? null : object(handle);
        int count = wire.u8();
        if (handle == SELF_FIRST) {
            if (count == 0) {
                throw wire.malformed(1, "the first value is the object, and there is none.");
            }
            self = value();
            count--;
        }
        Arguments arguments = new Arguments(self, count);
        for (int index = 0; index < count; index++) {
            Object value = value();
            arguments.set(index, value, code);
        }
        return arguments;
    }

    /** Reads a value. Primitive values are boxed. */
    Object value() {
        return value(0);
    }

    /** Reads a handle and returns its object; null for 0. */
    Object objectOrNone() {
        long handle = wire.i64();
        return handle == 0 ? null : object(handle);
    }

    /** Reads a handle and returns its object. */
    Object object() {
        return object(wire.i64());
    }

    private Object object(long handle) {
        if (earlier == null || handle >>> Integer.SIZE != 0) {
            Object object = handles.get(handle);
            if (takesOver) {
                handles.release(handle);
            }
            return object;
        }
        Object result = earlierAt((int) handle - 1);
        if (result == null) {
            throw new Refusal(Refusal.STALE, "The result of request " + (handle - 1)
                    + " of the batch is no object.");
        }
        return result;
    }

    private Object earlierAt(int index) {
        if (earlier == null || index < 0 || index >= earlier.size()) {
            throw wire.malformed(4, "there is no earlier request " + (index & 0xFFFFFFFFL)
                    + " in this batch.");
        }
        return earlier.get(index);
    }

    private Object value(int depth) {
        int tag = wire.u8();
        switch (tag) {
            case Tag.NULL:
                code = Arguments.NULL_CODE;
                return null;
            case Tag.TEXT:
                code = Arguments.STRING_CODE;
                return wire.text();
            case Tag.OBJECT:
                Object object = object();
                wire.i32();
                return coded(object);
            case Tag.PRIMITIVE_ARRAY:
                return coded(primitives());
            case Tag.ARRAY:
                return coded(array(depth));
            case Tag.MEMORY:
                return coded(memory());
            case Tag.EARLIER:
                return coded(earlierAt(wire.i32()));
            default:
                code = ClassIds.ofPrimitive(tag == Tag.FALSE ? Tag.TRUE : tag);
                return primitive(tag);
        }
    }

    private Object coded(Object value) {
        code = value == null ? Arguments.NULL_CODE : ClassIds.of(value.getClass());
        return value;
    }

    private Object primitive(int tag) {
        switch (tag) {
            case Tag.FALSE:
                return Boolean.FALSE;
            case Tag.TRUE:
                return Boolean.TRUE;
            case Tag.BYTE:
                return (byte) wire.u8();
            case Tag.SHORT:
                return (short) wire.u16();
            case Tag.CHAR:
                return (char) wire.u16();
            case Tag.INT:
                return wire.i32();
            case Tag.LONG:
                return wire.i64();
            case Tag.FLOAT:
                return Float.intBitsToFloat(wire.i32());
            case Tag.DOUBLE:
                return Double.longBitsToDouble(wire.i64());
            default:
                throw wire.malformed(1, "no value has the tag " + tag + " here.");
        }
    }

    private Object primitives() {
        int tag = elementTag();
        int count = wire.count(PrimitiveArrays.sizeOf(tag));
        int start = wire.skip(count * PrimitiveArrays.sizeOf(tag));
        return PrimitiveArrays.read(tag, count, wire.bytes(), start);
    }

    private Object memory() {
        int tag = elementTag();
        int count = wire.i32();
        if (count < 0) {
            throw wire.malformed(4, "an array has no " + (count & 0xFFFFFFFFL) + " elements.");
        }
        long address = wire.i64();
        return NativeMemory.read(tag, count, address, wire.i64());
    }

    private int elementTag() {
        int tag = wire.u8();
        if (!PrimitiveArrays.isElementTag(tag)) {
            throw wire.malformed(1, "no elements have the tag " + tag + '.');
        }
        return tag;
    }

    private Object array(int depth) {
        if (depth == MAXIMUM_DEPTH) {
            throw wire.malformed(1, "arrays lie deeper than " + MAXIMUM_DEPTH + '.');
        }
        Class<?> component = classes.ofDescriptor(wire.text());
        int count = wire.count(1);
        Object[] elements = (Object[]) Array.newInstance(component, count);
        for (int index = 0; index < count; index++) {
            Object element = value(depth + 1);
            if (element != null && !component.isInstance(element)) {
                throw new Refusal(Refusal.NO_CONVERSION, "Element " + index + " is "
                        + Signature.of(element.getClass()) + ", which an array of "
                        + Signature.of(component) + " cannot hold.");
            }
            elements[index] = element;
        }
        return elements;
    }
}
