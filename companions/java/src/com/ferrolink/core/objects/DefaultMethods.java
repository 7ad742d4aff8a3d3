package com.ferrolink.core.objects;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.lang.reflect.Constructor;
import java.lang.reflect.Method;

/**
 * Calls default methods of interfaces on proxies. A proxy class overrides them, so an ordinary call
 * would return to the proxy. How to call them depends on the version of Java and on the interface.
 */
final class DefaultMethods {

    /** The ways to call a default method, in the order in which they are tried. */
    enum Way {
        /** From Java 9 on, for public interfaces of exported packages. */
        OWN_LOOKUP {
            @Override
            MethodHandle find(Method method) throws ReflectiveOperationException {
                Class<?> type = method.getDeclaringClass();
                return MethodHandles.lookup().findSpecial(type, method.getName(),
                        MethodType.methodType(method.getReturnType(), method.getParameterTypes()), type);
            }
        },
        /** From Java 9 on, for all interfaces of packages that are open to this one. */
        PRIVATE_LOOKUP {
            @Override
            MethodHandle find(Method method) throws ReflectiveOperationException {
                Class<?> type = method.getDeclaringClass();
                Object lookup = MethodHandles.class
                        .getMethod("privateLookupIn", Class.class, MethodHandles.Lookup.class)
                        .invoke(null, type, MethodHandles.lookup());
                return ((MethodHandles.Lookup) lookup).unreflectSpecial(method, type);
            }
        },
        /** On Java 8; later versions refuse it. */
        LOOKUP_CONSTRUCTOR {
            @Override
            MethodHandle find(Method method) throws ReflectiveOperationException {
                Class<?> type = method.getDeclaringClass();
                Constructor<MethodHandles.Lookup> constructor =
                        MethodHandles.Lookup.class.getDeclaredConstructor(Class.class, int.class);
                constructor.setAccessible(true);
                return constructor.newInstance(type, MethodHandles.Lookup.PRIVATE)
                        .unreflectSpecial(method, type);
            }
        };

        abstract MethodHandle find(Method method) throws ReflectiveOperationException;

        /** Takes the proxy and an array of the arguments. */
        MethodHandle adapted(Method method) throws ReflectiveOperationException {
            MethodHandle plain = find(method).asFixedArity();
            int count = plain.type().parameterCount();
            return plain.asType(MethodType.genericMethodType(count)).asSpreader(Object[].class, count - 1);
        }
    }

    private DefaultMethods() {
    }

    /**
     * A method handle that calls the method. It takes a proxy and an array of the arguments.
     *
     * @throws Refusal if the method cannot be called
     */
    static MethodHandle find(Method method) {
        StringBuilder reasons = new StringBuilder();
        for (Way way : Way.values()) {
            try {
                return way.adapted(method);
            } catch (ReflectiveOperationException | RuntimeException closed) {
                reasons.append("; ").append(closed);
            }
        }
        throw new Refusal(Refusal.REFUSED, "The default method " + method + " cannot be called" + reasons);
    }
}
