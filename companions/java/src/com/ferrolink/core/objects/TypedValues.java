package com.ferrolink.core.objects;

/** Encodes values by their declared types, for typed functions. */
final class TypedValues {

    private TypedValues() {
    }

    /** Whether values of the type are sent as handles, or may be. */
    static boolean isObject(Class<?> type) {
        Class<?> element = type;
        while (element.isArray()) {
            element = element.getComponentType();
        }
        return !element.isPrimitive() && element != String.class && Conversions.unboxed(element) == null;
    }

    /** Writes a value. Anything but a primitive, box, text or array is written as a handle. */
    static void write(ValueWriter out, Class<?> declared, Object value) {
        if (value == null) {
            out.wire().u8(Tag.NULL);
        } else if (declared == String.class) {
            out.wire().u8(Tag.TEXT).text((String) value);
        } else if (declared.isPrimitive() || Conversions.unboxed(declared) != null) {
            out.primitive(value);
        } else if (!declared.isArray()) {
            out.object(value);
        } else if (declared.getComponentType().isPrimitive()) {
            out.primitiveArray(value, PrimitiveArrays.tagOf(declared.getComponentType()));
        } else {
            Class<?> component = declared.getComponentType();
            Object[] elements = (Object[]) value;
            out.arrayHead(component, elements.length);
            for (Object element : elements) {
                write(out, component, element);
            }
        }
    }
}
