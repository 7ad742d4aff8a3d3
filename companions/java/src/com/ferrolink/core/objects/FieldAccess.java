package com.ferrolink.core.objects;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.lang.reflect.Array;
import java.lang.reflect.Field;
import java.lang.reflect.Modifier;

/** Reads and writes a field. As thread-safe as the field itself. */
final class FieldAccess {

    private static final MethodHandles.Lookup LOOKUP = MethodHandles.lookup();

    private final String name;
    private final Class<?> type;
    private final boolean isFinal;
    private final MethodHandle getter;
    /** Null if {@link #isFinal}. */
    private final MethodHandle setter;

    private FieldAccess(String name, Class<?> type, MethodHandle getter, MethodHandle setter) {
        this.name = name;
        this.type = type;
        this.isFinal = setter == null;
        this.getter = getter.asType(MethodType.methodType(Object.class, Object.class));
        this.setter = setter == null ? null
                : setter.asType(MethodType.methodType(void.class, Object.class, Object.class));
    }

    static FieldAccess of(Field field) {
        boolean isStatic = Modifier.isStatic(field.getModifiers());
        try {
            MethodHandle getter = LOOKUP.unreflectGetter(field);
            MethodHandle setter =
                    Modifier.isFinal(field.getModifiers()) ? null : LOOKUP.unreflectSetter(field);
            if (isStatic) {
                getter = MethodHandles.dropArguments(getter, 0, Object.class);
                setter = setter == null ? null : MethodHandles.dropArguments(setter, 0, Object.class);
            }
            return new FieldAccess(field.getDeclaringClass().getTypeName() + '.' + field.getName(),
                    field.getType(), getter, setter);
        } catch (IllegalAccessException hidden) {
            throw new Refusal(Refusal.NOT_FOUND, "The field " + field + " cannot be accessed.");
        }
    }

    /** The field {@code length} of arrays. */
    static FieldAccess arrayLength() {
        try {
            return new FieldAccess("length", int.class, LOOKUP.findStatic(Array.class, "getLength",
                    MethodType.methodType(int.class, Object.class)), null);
        } catch (ReflectiveOperationException impossible) {
            throw new IllegalStateException(impossible);
        }
    }

    /** @throws Throwable if the initialiser of a class throws */
    Object get(Object self) throws Throwable {
        return getter.invokeExact(self);
    }

    /**
     * Assigns a value, converted as the language converts constants.
     *
     * @throws Refusal if the value does not fit, or if the field is final
     * @throws Throwable if the initialiser of a class throws
     */
    void set(Object self, Object value) throws Throwable {
        if (isFinal) {
            throw new Refusal(Refusal.REFUSED, "The field " + name + " is final.");
        }
        setter.invokeExact(self, Conversions.assign(value, type, "The field " + name));
    }
}
