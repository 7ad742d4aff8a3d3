package com.ferrolink.core.objects;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.lang.reflect.Array;
import java.lang.reflect.Constructor;
import java.lang.reflect.Executable;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;

/** A method or constructor that is called with an array of values. Thread-safe. */
final class Overload {

    private static final MethodHandles.Lookup LOOKUP = MethodHandles.lookup();
    /** Up to this number, values are passed one by one; more are passed as an array. */
    private static final int MAXIMUM_SINGLE = 4;

    private final String name;
    private final Executable source;
    private final Class<?>[] parameters;
    private final boolean takesSelf;
    /** Created by the first call. If two threads create it at once, both handles are equal. */
    private volatile MethodHandle handle;

    /** @param takesSelf whether calls include an object; static methods ignore it */
    Overload(Executable source, boolean takesSelf) {
        this.source = source;
        this.name = source.getName();
        this.parameters = source.getParameterTypes();
        this.takesSelf = takesSelf;
    }

    /** The method {@code clone} of arrays, which reflection does not find. */
    private Overload() {
        source = null;
        name = "clone";
        parameters = new Class<?>[0];
        takesSelf = true;
    }

    static Overload arrayClone() {
        return new Overload();
    }

    Class<?>[] parameters() {
        return parameters;
    }

    boolean isVarargs() {
        return source != null && source.isVarArgs();
    }

    boolean isVoid() {
        return source instanceof Method && ((Method) source).getReturnType() == void.class;
    }

    @Override
    public String toString() {
        return name + Signature.of(parameters, isVarargs());
    }

    /**
     * Calls the method or constructor.
     *
     * @param values the object, or null if there is none, and the arguments in fitting types
     * @param spread whether the last arguments are collected in an array for a variable number of
     *     arguments
     * @return the result; null if it is void
     * @throws Throwable whatever the called code throws
     */
    Object call(Object[] values, boolean spread) throws Throwable {
        MethodHandle target = handle;
        if (target == null) {
            target = adapt();
            handle = target;
        }
        Object[] all = spread ? collected(values) : values;
        return takesSelf ? callWithSelf(target, all) : callWithoutSelf(target, all);
    }

    private static Object callWithSelf(MethodHandle target, Object[] values) throws Throwable {
        switch (values.length) {
            case 1:
                return target.invokeExact(values[0]);
            case 2:
                return target.invokeExact(values[0], values[1]);
            case 3:
                return target.invokeExact(values[0], values[1], values[2]);
            case MAXIMUM_SINGLE:
                return target.invokeExact(values[0], values[1], values[2], values[3]);
            default:
                return target.invokeExact(values);
        }
    }

    private static Object callWithoutSelf(MethodHandle target, Object[] values) throws Throwable {
        switch (values.length - 1) {
            case 0:
                return target.invokeExact();
            case 1:
                return target.invokeExact(values[1]);
            case 2:
                return target.invokeExact(values[1], values[2]);
            case 3:
                return target.invokeExact(values[1], values[2], values[3]);
            case MAXIMUM_SINGLE:
                return target.invokeExact(values[1], values[2], values[3], values[4]);
            default:
                return target.invokeExact(Arrays.copyOfRange(values, 1, values.length));
        }
    }

    private Object[] collected(Object[] values) {
        int fixed = parameters.length - 1;
        int count = values.length - 1 - fixed;
        Object array = Array.newInstance(parameters[fixed].getComponentType(), count);
        for (int index = 0; index < count; index++) {
            Array.set(array, index, values[fixed + 1 + index]);
        }
        Object[] all = Arrays.copyOf(values, fixed + 2);
        all[fixed + 1] = array;
        return all;
    }

    private MethodHandle adapt() {
        MethodHandle plain;
        try {
            plain = unreflect().asFixedArity();
        } catch (ReflectiveOperationException hidden) {
            throw new Refusal(Refusal.NOT_FOUND, this + " cannot be accessed: " + hidden.getMessage());
        }
        if (takesSelf && source != null && Modifier.isStatic(source.getModifiers())) {
            plain = MethodHandles.dropArguments(plain, 0, Object.class);
        }
        int count = plain.type().parameterCount();
        MethodHandle generic = plain.asType(MethodType.genericMethodType(count));
        return count <= MAXIMUM_SINGLE ? generic : generic.asSpreader(Object[].class, count);
    }

    /** Uses this package's own lookup, because some methods of the JDK depend on their caller. */
    private MethodHandle unreflect() throws ReflectiveOperationException {
        if (source == null) {
            return LOOKUP.findStatic(Overload.class, "cloneArray",
                    MethodType.methodType(Object.class, Object.class));
        }
        return source instanceof Method ? LOOKUP.unreflect((Method) source)
                : LOOKUP.unreflectConstructor((Constructor<?>) source);
    }

    private static Object cloneArray(Object array) {
        int length = Array.getLength(array);
        Object copy = Array.newInstance(array.getClass().getComponentType(), length);
        System.arraycopy(array, 0, copy, 0, length);
        return copy;
    }
}
