package com.ferrolink.core.objects;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Set;

/** Decides which classes and interfaces of an object this package may use. */
final class AccessibleTypes {

    private static final ModuleAccess MODULES = ModuleAccess.find();

    private AccessibleTypes() {
    }

    /** Whether the class is public and its package exported. */
    static boolean isAccessible(Class<?> type) {
        Class<?> element = type;
        while (element.isArray()) {
            element = element.getComponentType();
        }
        return Modifier.isPublic(element.getModifiers())
                && (MODULES == null || MODULES.isExported(element));
    }

    /**
     * The accessible ones among the class, its superclasses, and all their interfaces, in this order.
     * Each type precedes the types that it extends. For an interface, {@link Object} is last.
     */
    static List<Class<?>> lineage(Class<?> type) {
        Set<Class<?>> types = new LinkedHashSet<>();
        for (Class<?> current = type; current != null; current = current.getSuperclass()) {
            types.add(current);
        }
        Set<Class<?>> interfaces = new LinkedHashSet<>();
        for (Class<?> current : types) {
            addInterfaces(current, interfaces);
        }
        types.addAll(interfaces);
        if (type.isInterface()) {
            types.add(Object.class);
        }
        List<Class<?>> accessible = new ArrayList<>(types);
        accessible.removeIf(candidate -> !isAccessible(candidate));
        return accessible;
    }

    private static void addInterfaces(Class<?> type, Set<Class<?>> interfaces) {
        for (Class<?> each : type.getInterfaces()) {
            if (interfaces.add(each)) {
                addInterfaces(each, interfaces);
            }
        }
    }

    /** The parts of the module system that are needed here. Java 8 has no module system. */
    private static final class ModuleAccess {

        private final MethodHandle moduleOf;
        private final MethodHandle packageOf;
        private final MethodHandle isExported;
        private final Object own;

        private ModuleAccess(MethodHandle moduleOf, MethodHandle packageOf, MethodHandle isExported,
                Object own) {
            this.moduleOf = moduleOf;
            this.packageOf = packageOf;
            this.isExported = isExported;
            this.own = own;
        }

        static ModuleAccess find() {
            MethodHandles.Lookup lookup = MethodHandles.publicLookup();
            try {
                Class<?> module = Class.forName("java.lang.Module");
                MethodHandle moduleOf = lookup.findVirtual(Class.class, "getModule",
                        MethodType.methodType(module));
                return new ModuleAccess(moduleOf,
                        lookup.findVirtual(Class.class, "getPackageName", MethodType.methodType(String.class)),
                        lookup.findVirtual(module, "isExported",
                                MethodType.methodType(boolean.class, String.class, module)),
                        moduleOf.invoke(AccessibleTypes.class));
            } catch (ClassNotFoundException older) {
                return null;
            } catch (Throwable impossible) {
                throw new IllegalStateException("The module system cannot be asked.", impossible);
            }
        }

        boolean isExported(Class<?> type) {
            try {
                return (boolean) isExported.invoke(moduleOf.invoke(type),
                        (String) packageOf.invoke(type), own);
            } catch (Throwable impossible) {
                throw new IllegalStateException("The module system cannot be asked.", impossible);
            }
        }
    }
}
