package com.ferrolink.core.objects;

import java.lang.invoke.MethodHandle;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.ConcurrentHashMap;

/** Decides what the methods of a proxy do. Thread-safe. */
final class ProxyMethods {

    /** The methods that a proxy shares with every object, by name and parameters. */
    private static final Map<String, List<Class<?>>> OF_OBJECTS = new HashMap<>();

    static {
        OF_OBJECTS.put("equals", Arrays.<Class<?>>asList(Object.class));
        OF_OBJECTS.put("hashCode", Arrays.<Class<?>>asList());
        OF_OBJECTS.put("toString", Arrays.<Class<?>>asList());
    }

    /** What a call does. */
    enum Route { FUNCTION, DEFAULT, OWN, MISSING }

    /** One method of the proxy. */
    static final class Target {
        final Method method;
        final Route route;
        final Class<?>[] parameters;
        /**
         * The form in which each parameter is sent, one char each; null if the declared types decide.
         */
        final String wants;
        /** The handle of a default method; created by its first call. */
        private volatile MethodHandle handle;

        Target(Method method, Route route, String wants) {
            this.method = method;
            this.route = route;
            this.wants = wants;
            this.parameters = method.getParameterTypes();
        }

        MethodHandle defaultMethod() {
            MethodHandle found = handle;
            if (found == null) {
                found = DefaultMethods.find(method);
                handle = found;
            }
            return found;
        }
    }

    /** Known results for single interfaces, by the names of functions. */
    private static final ClassValue<ConcurrentHashMap<FunctionNames, ProxyMethods>> KNOWN =
            new ClassValue<ConcurrentHashMap<FunctionNames, ProxyMethods>>() {
                @Override
                protected ConcurrentHashMap<FunctionNames, ProxyMethods> computeValue(Class<?> type) {
                    return new ConcurrentHashMap<>();
                }
            };

    private final Map<Method, Target> targets = new HashMap<>();

    /** The target of a method of the proxy. */
    Target of(Method method) {
        return targets.get(method);
    }

    /**
     * The methods of the interfaces.
     *
     * @param names the methods that the function implements
     * @throws Refusal if no method has one of the names, or if a function without a name does not have
     *     exactly one abstract method
     */
    static ProxyMethods of(Class<?>[] interfaces, FunctionNames names) {
        return interfaces.length == 1
                ? KNOWN.get(interfaces[0]).computeIfAbsent(names, key -> new ProxyMethods(interfaces, key))
                : new ProxyMethods(interfaces, names);
    }

    private ProxyMethods(Class<?>[] interfaces, FunctionNames names) {
        Set<String> found = new HashSet<>();
        Set<String> needed = new TreeSet<>();
        for (Class<?> type : interfaces) {
            for (Method method : type.getMethods()) {
                if (!Modifier.isStatic(method.getModifiers())) {
                    boolean isAbstract = !method.isDefault() && !isOfObjects(method);
                    if (isAbstract) {
                        needed.add(method.getName());
                    }
                    found.add(method.getName());
                    add(method, isAbstract, names);
                }
            }
        }
        for (Method method : Object.class.getMethods()) {
            if (isOfObjects(method)) {
                found.add(method.getName());
                add(method, false, names);
            }
        }
        for (String name : names.names()) {
            if (!found.contains(name)) {
                throw new Refusal(Refusal.NOT_FOUND, "No method of " + Signature.of(interfaces, false)
                        + " is named '" + name + "'.");
            }
        }
        if (names.isSingle() && needed.size() != 1) {
            throw new Refusal(Refusal.REFUSED, Signature.of(interfaces, false) + " has "
                    + (needed.isEmpty() ? "no abstract method" : "the abstract methods "
                            + String.join(", ", needed))
                    + ": a single function implements an interface of one; otherwise give functions names.");
        }
    }

    private void add(Method method, boolean isAbstract, FunctionNames names) {
        Route route = Route.MISSING;
        String wants = null;
        if (names.has(method.getName(), isAbstract)) {
            route = Route.FUNCTION;
            wants = names.wantsOf(method.getName(), method.getParameterCount());
        } else if (method.isDefault()) {
            route = Route.DEFAULT;
        } else if (isOfObjects(method)) {
            route = Route.OWN;
        }
        targets.put(method, new Target(method, route, wants));
    }

    private static boolean isOfObjects(Method method) {
        return Arrays.asList(method.getParameterTypes()).equals(OF_OBJECTS.get(method.getName()));
    }
}
