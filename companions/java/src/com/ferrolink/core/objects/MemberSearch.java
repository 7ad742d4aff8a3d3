package com.ferrolink.core.objects;

import java.lang.reflect.Constructor;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Finds the public members of a class. If the class is not public or not exported, finds them in those
 * superclasses and interfaces that are.
 */
final class MemberSearch {

    private MemberSearch() {
    }

    /** @throws Refusal if there is no such member */
    static Member find(MemberKind kind, Class<?> owner, String name) {
        if (kind.isField()) {
            return new Member(kind, owner, name, field(kind, owner, name));
        }
        List<Overload> overloads =
                kind == MemberKind.CONSTRUCTOR ? constructors(owner) : methods(kind, owner, name);
        if (overloads.isEmpty()) {
            throw notFound(kind, owner, name);
        }
        return new Member(kind, owner, name, overloads);
    }

    private static Refusal notFound(MemberKind kind, Class<?> owner, String name) {
        String type = Signature.of(owner);
        if (kind == MemberKind.CONSTRUCTOR) {
            return new Refusal(Refusal.NOT_FOUND, type + " has no public constructor"
                    + (owner.isInterface() ? ", it is an interface." : isOpen(owner)
                            ? "." : ", it is not a public class of an exported package."));
        }
        return new Refusal(Refusal.NOT_FOUND, type + " has no public " + kind + " '" + name + "'"
                + (kind.hasSelf() || isOpen(owner) ? "." : ", it is not a public class of an exported"
                        + " package."));
    }

    private static boolean isOpen(Class<?> type) {
        return AccessibleTypes.isAccessible(type);
    }

    private static List<Overload> constructors(Class<?> owner) {
        List<Overload> found = new ArrayList<>();
        if (isOpen(owner)) {
            if (Modifier.isAbstract(owner.getModifiers()) && !owner.isInterface() && !owner.isArray()
                    && !owner.isPrimitive()) {
                throw new Refusal(Refusal.NOT_FOUND, Signature.of(owner)
                        + " is abstract: no object of it can be made.");
            }
            for (Constructor<?> constructor : owner.getConstructors()) {
                found.add(new Overload(constructor, false));
            }
        }
        return found;
    }

    /** The candidates for a call. */
    static Collection<Method> methodsNamed(MemberKind kind, Class<?> owner, String name) {
        Map<List<Class<?>>, Method> found = new LinkedHashMap<>();
        for (Class<?> type : AccessibleTypes.lineage(owner)) {
            for (Method method : type.getDeclaredMethods()) {
                if (method.getName().equals(name) && isCandidate(method, kind, owner)) {
                    found.merge(Arrays.asList(method.getParameterTypes()), method,
                            MemberSearch::preferred);
                }
            }
        }
        return found.values();
    }

    private static List<Overload> methods(MemberKind kind, Class<?> owner, String name) {
        List<Overload> overloads = new ArrayList<>();
        for (Method method : methodsNamed(kind, owner, name)) {
            overloads.add(new Overload(method, kind.hasSelf()));
        }
        if (overloads.isEmpty() && kind == MemberKind.METHOD && owner.isArray() && "clone".equals(name)) {
            overloads.add(Overload.arrayClone());
        }
        return overloads;
    }

    private static boolean isCandidate(Method method, MemberKind kind, Class<?> owner) {
        if (!Modifier.isPublic(method.getModifiers())) {
            return false;
        }
        boolean isStatic = Modifier.isStatic(method.getModifiers());
        // Static methods of interfaces are not inherited.
        if (isStatic && method.getDeclaringClass().isInterface() && method.getDeclaringClass() != owner) {
            return false;
        }
        return isStatic || kind == MemberKind.METHOD;
    }

    /**
     * Chooses between two methods with the same parameters; the first one is from the more derived
     * class. Within one class, an ordinary method replaces a bridge method, and a more specific result
     * type replaces the other.
     */
    private static Method preferred(Method first, Method second) {
        if (first.getDeclaringClass() != second.getDeclaringClass()) {
            return first;
        }
        if (first.isBridge() != second.isBridge()) {
            return first.isBridge() ? second : first;
        }
        return first.getReturnType().isAssignableFrom(second.getReturnType()) ? second : first;
    }

    private static FieldAccess field(MemberKind kind, Class<?> owner, String name) {
        if (kind == MemberKind.FIELD && owner.isArray() && "length".equals(name)) {
            return FieldAccess.arrayLength();
        }
        for (Class<?> type : AccessibleTypes.lineage(owner)) {
            for (Field field : type.getDeclaredFields()) {
                int modifiers = field.getModifiers();
                if (field.getName().equals(name) && Modifier.isPublic(modifiers)
                        && (Modifier.isStatic(modifiers) || kind == MemberKind.FIELD)) {
                    return FieldAccess.of(field);
                }
            }
        }
        throw notFound(kind, owner, name);
    }
}
