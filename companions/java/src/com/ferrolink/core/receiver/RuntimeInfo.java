package com.ferrolink.core.receiver;

import java.nio.file.Path;
import java.util.List;

/** The description of this JVM. Every line of it ends with a line feed. */
final class RuntimeInfo {

    private static final long MEBIBYTE = 1024L * 1024L;

    private RuntimeInfo() {
    }

    /** The text for a failure. */
    static String unavailable() {
        return "Java runtime information is unavailable.\n";
    }

    static String describe(List<Path> archives, List<String> handlers, List<String> problems) {
        StringBuilder text = new StringBuilder(1024);
        text.append("Java version: ").append(property("java.version")).append(" (")
                .append(property("java.vendor")).append(")\n");
        text.append("Java VM: ").append(property("java.vm.name")).append(' ')
                .append(property("java.vm.version")).append('\n');
        text.append("Garbage collectors: ").append(garbageCollectors()).append('\n');
        appendHeap(text);
        text.append("Class path: ").append(property("java.class.path")).append('\n');
        appendList(text, "Archives added later:", archives);
        text.append("Handlers: ").append(String.join(", ", handlers)).append('\n');
        if (!problems.isEmpty()) {
            appendList(text, "Handlers not available:", problems);
        }
        return text.toString();
    }

    private static void appendHeap(StringBuilder text) {
        Runtime runtime = Runtime.getRuntime();
        long committed = runtime.totalMemory();
        text.append("Heap used: ").append((committed - runtime.freeMemory()) / MEBIBYTE)
                .append(" MiB, committed: ").append(committed / MEBIBYTE)
                .append(" MiB, maximum: ").append(runtime.maxMemory() / MEBIBYTE).append(" MiB\n");
    }

    private static void appendList(StringBuilder text, String title, List<?> items) {
        text.append(title).append(items.isEmpty() ? " none\n" : "\n");
        for (Object item : items) {
            text.append("  ").append(item).append('\n');
        }
    }

    private static String garbageCollectors() {
        try {
            return GarbageCollectors.names();
        } catch (LinkageError | RuntimeException absent) {
            return "unknown, this Java runtime lacks the module java.management";
        }
    }

    private static String property(String name) {
        try {
            return System.getProperty(name, "unknown");
        } catch (SecurityException refused) {
            return "unknown";
        }
    }
}
