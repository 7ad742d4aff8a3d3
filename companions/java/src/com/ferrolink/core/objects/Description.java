package com.ferrolink.core.objects;

import java.lang.reflect.Constructor;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.TreeSet;

/** Describes the accessible members of a class as Java source declares them. */
final class Description {

    private Description() {
    }

    /** The accessible constructors, fields and methods. Each line ends with a line feed. */
    static String of(Class<?> type) {
        StringBuilder text = new StringBuilder();
        append(text, constructors(type));
        append(text, fields(type));
        append(text, methods(type));
        return text.toString();
    }

    private static void append(StringBuilder text, TreeSet<String> lines) {
        for (String line : lines) {
            text.append(line).append('\n');
        }
    }

    private static TreeSet<String> constructors(Class<?> type) {
        TreeSet<String> lines = new TreeSet<>();
        if (AccessibleTypes.isAccessible(type) && !Modifier.isAbstract(type.getModifiers())) {
            for (Constructor<?> constructor : type.getConstructors()) {
                lines.add("public " + type.getTypeName()
                        + Signature.of(constructor.getParameterTypes(), constructor.isVarArgs())
                        + thrown(constructor.getExceptionTypes()) + ';');
            }
        }
        return lines;
    }

    private static TreeSet<String> fields(Class<?> type) {
        Map<String, String> byName = new LinkedHashMap<>();
        for (Class<?> each : AccessibleTypes.lineage(type)) {
            for (Field field : each.getDeclaredFields()) {
                if (Modifier.isPublic(field.getModifiers())) {
                    byName.putIfAbsent(field.getName(), Modifier.toString(field.getModifiers()) + ' '
                            + Signature.of(field.getType()) + ' ' + field.getName() + ';');
                }
            }
        }
        return new TreeSet<>(byName.values());
    }

    private static TreeSet<String> methods(Class<?> type) {
        TreeSet<String> lines = new TreeSet<>();
        TreeSet<String> names = new TreeSet<>();
        for (Class<?> each : AccessibleTypes.lineage(type)) {
            for (Method method : each.getDeclaredMethods()) {
                names.add(method.getName());
            }
        }
        for (String name : names) {
            for (Method method : MemberSearch.methodsNamed(MemberKind.METHOD, type, name)) {
                int modifiers = method.getModifiers() & Modifier.methodModifiers() & ~Modifier.SYNCHRONIZED
                        & ~Modifier.NATIVE;
                lines.add(Modifier.toString(modifiers) + (method.isDefault() ? " default " : " ") + Signature.of(method.getReturnType()) + ' '
                        + name + Signature.of(method.getParameterTypes(), method.isVarArgs())
                        + thrown(method.getExceptionTypes()) + ';');
            }
        }
        return lines;
    }

    private static String thrown(Class<?>[] types) {
        if (types.length == 0) {
            return "";
        }
        StringBuilder text = new StringBuilder(" throws ");
        Arrays.stream(types).forEach(type -> text.append(Signature.of(type)).append(", "));
        text.setLength(text.length() - 2);
        return text.toString();
    }
}
