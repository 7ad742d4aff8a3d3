package com.ferrolink.core.objects;

import com.ferrolink.FerrolinkException;
import com.ferrolink.FunctionName;
import com.ferrolink.RemoteException;
import java.lang.invoke.MethodHandle;
import java.lang.reflect.InvocationHandler;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.lang.reflect.Proxy;
import java.util.HashMap;
import java.util.Map;
import java.util.function.BiFunction;

/**
 * Calls typed functions of another runtime through the methods of an interface. Implements
 * {@code com.ferrolink.Ferrolink#as}. Thread-safe.
 */
public final class TypedFunctions implements InvocationHandler {

    private static final int TYPED = 0xF1;
    private static final int UNFIT = 0xF2;
    private static final int CAPACITY = 128;
    private static final int MAXIMUM_ARGUMENTS = 255;
    private static final Object[] NO_ARGUMENTS = {};

    private final String description;
    private final BiFunction<String, byte[], byte[]> calls;
    private final Runnable beforeObjects;
    private final ClassFinder classes;
    private final Map<Method, Function> functions = new HashMap<>();

    private TypedFunctions(Class<?> type, String description, BiFunction<String, byte[], byte[]> calls,
            Runnable beforeObjects) {
        this.description = type.getName() + " of " + description;
        this.calls = calls;
        this.beforeObjects = beforeObjects;
        ClassLoader loader = loaderOf(type);
        this.classes = new ClassFinder(() -> loader);
        for (Method method : type.getMethods()) {
            if (!Modifier.isStatic(method.getModifiers())) {
                functions.put(method, new Function(method));
            }
        }
    }

    /**
     * Creates an object whose methods call functions.
     *
     * @param type an interface, not null
     * @param description where the functions are, for error texts
     * @param calls calls a handler by its name with a payload, and returns its answer
     * @param beforeObjects runs before each call that passes objects or may return one; null if the
     *     functions cannot use objects of this process
     * @param <T> the interface
     * @return the object
     * @throws IllegalArgumentException if the type is no interface, or if a method cannot be called in
     *     this way
     */
    public static <T> T make(Class<T> type, String description, BiFunction<String, byte[], byte[]> calls,
            Runnable beforeObjects) {
        if (!type.isInterface()) {
            throw new IllegalArgumentException(type.getName() + " is no interface.");
        }
        TypedFunctions functions = new TypedFunctions(type, description, calls, beforeObjects);
        functions.functions.values().forEach(functions::check);
        return type.cast(Proxy.newProxyInstance(loaderOf(type), new Class<?>[] {type}, functions));
    }

    private static ClassLoader loaderOf(Class<?> type) {
        ClassLoader own = type.getClassLoader();
        return own == null ? TypedFunctions.class.getClassLoader() : own;
    }

    private void check(Function function) {
        if (!function.isCalled) {
            return;
        }
        if (function.parameters.length > MAXIMUM_ARGUMENTS) {
            throw new IllegalArgumentException(function + " has more than " + MAXIMUM_ARGUMENTS
                    + " parameters.");
        }
        if (function.usesObjects && beforeObjects == null) {
            throw new IllegalArgumentException(function + " has a parameter or result that is an object."
                    + " Functions of another process take primitives, their boxes, texts, and arrays of"
                    + " these.");
        }
    }

    @Override
    public Object invoke(Object proxy, Method method, Object[] arguments) throws Throwable {
        Object[] given = arguments == null ? NO_ARGUMENTS : arguments;
        Function function = functions.get(method);
        if (function == null) {
            return ofObject(proxy, method.getName(), given);
        }
        return function.isCalled ? call(function, given) : function.defaultMethod().invokeExact(proxy, given);
    }

    private Object ofObject(Object proxy, String name, Object[] arguments) {
        switch (name) {
            case "equals":
                return proxy == arguments[0];
            case "hashCode":
                return System.identityHashCode(proxy);
            default:
                return description;
        }
    }

    private Object call(Function function, Object[] arguments) {
        if (function.usesObjects) {
            beforeObjects.run();
        }
        ValueWriter out = new ValueWriter(new WireWriter(CAPACITY), HandleTable.shared());
        boolean taken = false;
        try {
            out.wire().u8(TYPED).u8(arguments.length);
            for (int index = 0; index < arguments.length; index++) {
                TypedValues.write(out, function.parameters[index], arguments[index]);
            }
            byte[] answer = calls.apply(function.name, out.wire().toByteArray());
            taken = answer.length == 0 || (answer[0] & 0xFF) != UNFIT;
            return resultOf(function, answer);
        } catch (RemoteException failure) {
            taken = !failure.remoteText().startsWith("Unknown handler '" + function.name + "'");
            throw failure;
        } catch (FerrolinkException failure) {
            taken = failure.mayHaveExecuted();
            throw failure;
        } finally {
            if (!taken) {
                out.releaseMade(0);
            }
        }
    }

    private Object resultOf(Function function, byte[] answer) {
        WireReader wire = new WireReader(answer, 0, answer.length);
        int mark = wire.left() == 0 ? 0 : wire.u8();
        try {
            if (mark == UNFIT) {
                throw new IllegalArgumentException(function + ": " + wire.text());
            }
            if (mark != TYPED) {
                throw new FunctionException("The function '" + function.name + "' is not typed: its answer of "
                        + answer.length + " bytes does not begin with the mark of one.");
            }
            Class<?> type = function.method.getReturnType();
            Object value = null;
            if (wire.peek() == Tag.VOID) {
                wire.u8();
            } else {
                value = ValueReader.ofAnswer(wire, HandleTable.shared(), classes).value();
            }
            wire.requireEnd();
            return type == void.class ? null : Conversions.assign(value, type, "The result of " + function);
        } catch (Refusal refusal) {
            if (refusal.kind() == Refusal.NO_CONVERSION) {
                throw new IllegalArgumentException(refusal.getMessage());
            }
            throw new FunctionException("The answer of the function '" + function.name
                    + "' is not usable: " + refusal.getMessage());
        }
    }

    @Override
    public String toString() {
        return description;
    }

    /** One method. */
    private static final class Function {
        final Method method;
        final String name;
        final Class<?>[] parameters;
        /** Whether the method calls a function. A default method does if it names one. */
        final boolean isCalled;
        final boolean usesObjects;
        /** The handle of a default method; created by its first call. */
        private volatile MethodHandle handle;

        Function(Method method) {
            FunctionName given = method.getAnnotation(FunctionName.class);
            this.method = method;
            this.name = given == null ? method.getName() : given.value();
            this.parameters = method.getParameterTypes();
            this.isCalled = given != null || !method.isDefault();
            boolean objects = TypedValues.isObject(method.getReturnType());
            for (Class<?> parameter : parameters) {
                objects |= TypedValues.isObject(parameter);
            }
            this.usesObjects = isCalled && objects;
        }

        MethodHandle defaultMethod() {
            MethodHandle found = handle;
            if (found == null) {
                found = DefaultMethods.find(method);
                handle = found;
            }
            return found;
        }

        @Override
        public String toString() {
            return method.getDeclaringClass().getSimpleName() + '.' + method.getName()
                    + Signature.of(parameters, method.isVarArgs());
        }
    }
}
