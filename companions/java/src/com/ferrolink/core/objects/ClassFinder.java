package com.ferrolink.core.objects;

import java.lang.reflect.Array;
import java.util.concurrent.ConcurrentHashMap;
import java.util.function.Supplier;

/**
 * Finds classes by name, on the class path and in archives that were added later. Remembers each class
 * that it has found. That keeps no class alive, because the loaders of these classes live as long as
 * the process. Thread-safe.
 */
final class ClassFinder {

    /** The maximum number of nested classes in a name. Longer names are not found. */
    private static final int MAXIMUM_NESTING = 16;

    private static final Class<?>[] PRIMITIVES = {boolean.class, byte.class, short.class, char.class,
        int.class, long.class, float.class, double.class, void.class};

    private final Supplier<ClassLoader> loader;
    private final ConcurrentHashMap<String, Class<?>> known = new ConcurrentHashMap<>();

    /** Gets the current loader before each search. */
    ClassFinder(Supplier<ClassLoader> loader) {
        this.loader = loader;
        for (Class<?> primitive : PRIMITIVES) {
            known.put(primitive.getName(), primitive);
        }
    }

    ClassLoader loader() {
        return loader.get();
    }

    /**
     * The class of that name. The name may have the form of {@link Class#getName} or of source code
     * ({@code java.util.Map.Entry}, {@code int[]}), or may be a primitive type.
     *
     * @throws Refusal if there is none
     */
    Class<?> find(String name) {
        Class<?> type = known.get(name);
        if (type == null) {
            type = search(name);
            if (type == null) {
                throw new Refusal(Refusal.NOT_FOUND, "There is no class '" + name + "'.");
            }
            known.put(name, type);
        }
        return type;
    }

    /** The class of a descriptor, such as {@code [I} or {@code Ljava/lang/String;}. */
    Class<?> ofDescriptor(String descriptor) {
        int last = descriptor.length() - 1;
        if (last > 0 && descriptor.charAt(0) == 'L' && descriptor.charAt(last) == ';') {
            return find(descriptor.substring(1, last).replace('/', '.'));
        }
        if (last > 0 && descriptor.charAt(0) == '[') {
            return find(descriptor.replace('/', '.'));
        }
        throw new Refusal(Refusal.NOT_FOUND, "'" + descriptor
                + "' is no descriptor of a class, such as Ljava/lang/String; or [I.");
    }

    private Class<?> search(String name) {
        if (name.endsWith("[]")) {
            Class<?> component = find(name.substring(0, name.length() - 2));
            if (component != void.class) {
                return Array.newInstance(component, 0).getClass();
            }
            return null;
        }
        ClassLoader current = loader.get();
        String candidate = name;
        for (int nested = 0; nested < MAXIMUM_NESTING; nested++) {
            try {
                return Class.forName(candidate, false, current);
            } catch (ClassNotFoundException absent) {
                int dot = candidate.lastIndexOf('.');
                if (dot <= 0) {
                    return null;
                }
                candidate = candidate.substring(0, dot) + '$' + candidate.substring(dot + 1);
            }
        }
        return null;
    }
}
