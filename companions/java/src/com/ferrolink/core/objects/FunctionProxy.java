package com.ferrolink.core.objects;

import java.lang.reflect.InvocationHandler;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;

/** Forwards calls of interface methods to a function of the C++ member. Thread-safe. */
final class FunctionProxy implements InvocationHandler {

    static final int CALL = 1;

    private static final int CALL_CAPACITY = 128;
    private static final int RETURNED = 0;
    private static final int THROWN = 1;
    private static final Object[] NO_ARGUMENTS = {};

    private final FunctionKey key;
    private final ProxyMethods methods;
    private final ClassFinder classes;
    private final CppCalls calls;

    private FunctionProxy(FunctionKey key, ProxyMethods methods, ClassFinder classes, CppCalls calls) {
        this.key = key;
        this.methods = methods;
        this.classes = classes;
        this.calls = calls;
    }

    /**
     * Creates an object that implements the interfaces by a function.
     *
     * @param names the methods that the function implements
     * @throws Refusal if a type is no interface, or a name does not match
     */
    static Object make(FunctionKey key, FunctionNames names, ClassFinder classes, CppCalls calls) {
        Class<?>[] interfaces = key.interfaces();
        for (Class<?> type : interfaces) {
            if (!type.isInterface()) {
                throw new Refusal(Refusal.REFUSED, Signature.of(type) + " is no interface.");
            }
        }
        ProxyMethods methods = ProxyMethods.of(interfaces, names);
        try {
            return Proxy.newProxyInstance(loaderOf(interfaces, classes), interfaces,
                    new FunctionProxy(key, methods, classes, calls));
        } catch (IllegalArgumentException unfit) {
            throw new Refusal(Refusal.REFUSED, Signature.of(interfaces, false)
                    + " cannot be implemented: " + unfit.getMessage());
        }
    }

    /**
     * The common loader of the interfaces, which interfaces that are not public require. If the loaders
     * differ, the loader of the finder, which sees all interfaces.
     */
    private static ClassLoader loaderOf(Class<?>[] interfaces, ClassFinder classes) {
        ClassLoader common = interfaces.length == 0 ? null : interfaces[0].getClassLoader();
        for (Class<?> type : interfaces) {
            if (type.getClassLoader() != common) {
                return classes.loader();
            }
        }
        return common == null ? classes.loader() : common;
    }

    @Override
    public Object invoke(Object proxy, Method method, Object[] arguments) throws Throwable {
        ProxyMethods.Target target = methods.of(method);
        Object[] given = arguments == null ? NO_ARGUMENTS : arguments;
        switch (target.route) {
            case FUNCTION:
                return call(target, given);
            case DEFAULT:
                return target.defaultMethod().invokeExact(proxy, given);
            case OWN:
                return own(proxy, method.getName(), given);
            default:
                throw new UnsupportedOperationException("No function of C++ was given for " + method + '.');
        }
    }

    private Object own(Object proxy, String name, Object[] arguments) {
        switch (name) {
            case "equals":
                return proxy == arguments[0];
            case "hashCode":
                return System.identityHashCode(proxy);
            default:
                return key.toString();
        }
    }

    private Object call(ProxyMethods.Target target, Object[] arguments) throws Throwable {
        ValueWriter out = new ValueWriter(new WireWriter(CALL_CAPACITY), HandleTable.shared());
        boolean answered = false;
        byte[] answer;
        try {
            out.wire().u8(CALL).i64(key.id()).text(target.method.getName()).u8(arguments.length);
            for (int index = 0; index < arguments.length; index++) {
                if (target.wants == null) {
                    write(out, target.parameters[index], arguments[index]);
                } else {
                    out.result(arguments[index], target.wants.charAt(index), 0);
                }
            }
            answer = calls.call(key.handler(), out.wire().toByteArray());
            answered = true;
        } finally {
            if (!answered) {
                // A handle that the function has released is stale, and is ignored.
                out.releaseMade(0);
            }
        }
        return resultOf(target.method, answer);
    }

    private static void write(ValueWriter out, Class<?> parameter, Object argument) {
        if (parameter.isPrimitive()) {
            out.primitive(argument);
        } else if (parameter == String.class && argument != null) {
            out.wire().u8(Tag.TEXT).text((String) argument);
        } else {
            out.object(argument);
        }
    }

    private Object resultOf(Method method, byte[] answer) throws Throwable {
        WireReader wire = new WireReader(answer, 0, answer.length);
        ValueReader in = ValueReader.ofAnswer(wire, HandleTable.shared(), classes);
        String text;
        try {
            int outcome = wire.u8();
            if (outcome == RETURNED) {
                Class<?> type = method.getReturnType();
                Object value = wire.peek() == Tag.VOID ? voidValue(wire) : in.value();
                wire.requireEnd();
                return type == void.class ? null
                        : Conversions.assign(value, type, "The result of " + method);
            }
            if (outcome != THROWN) {
                throw wire.malformed(1, "there is no outcome " + outcome + '.');
            }
            text = wire.text();
            Object thrown = in.objectOrNone();
            if (thrown instanceof Throwable) {
                throw (Throwable) thrown;
            }
        } catch (Refusal refusal) {
            throw new FunctionException("The answer of C++ function " + key.id() + " is not usable: "
                    + refusal.getMessage());
        }
        throw new FunctionException(text);
    }

    private static Object voidValue(WireReader wire) {
        wire.u8();
        return null;
    }
}
