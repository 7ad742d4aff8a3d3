package com.ferrolink.core.receiver;

import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.lang.management.GarbageCollectorMXBean;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;

/**
 * The names of this JVM's garbage collectors. The common ones are recognised by the names of their
 * threads. The others are asked of the module java.management, which takes 35 ms, more than the rest of
 * the first command.
 */
final class GarbageCollectors {

    private static final File THREADS = new File("/proc/self/task");

    /** Prefixes of thread names, and the collectors that have such threads. */
    private static final String[][] TELLING = {
        {"G1 ", "G1"}, {"ZDirector", "Z"}, {"XDirector", "Z"}, {"Shenandoah", "Shenandoah"},
    };

    /** The kernel keeps 15 bytes of a name, and the file ends with a line feed. */
    private static final int LONGEST_NAME = 16;

    private GarbageCollectors() {
    }

    /** Throws a LinkageError if the Java runtime lacks the module. */
    static String names() {
        String[] threads = THREADS.list();
        for (String thread : threads == null ? new String[0] : threads) {
            String collector = collectorOf(nameOf(thread));
            if (collector != null) {
                return collector;
            }
        }
        return Management.names();
    }

    /** The collector that has a thread of that name; null if the name says nothing. */
    static String collectorOf(String thread) {
        for (String[] telling : TELLING) {
            if (thread.startsWith(telling[0])) {
                return telling[1];
            }
        }
        return null;
    }

    /** Returns the empty string if the thread has ended. */
    private static String nameOf(String thread) {
        byte[] name = new byte[LONGEST_NAME];
        try (InputStream file = new FileInputStream(THREADS + "/" + thread + "/comm")) {
            int length = file.read(name);
            return new String(name, 0, Math.max(length, 0), StandardCharsets.ISO_8859_1);
        } catch (IOException ended) {
            return "";
        }
    }

    /** A separate class, so that the module is only needed if this is used. */
    private static final class Management {
        static String names() {
            StringBuilder names = new StringBuilder();
            for (GarbageCollectorMXBean collector : ManagementFactory.getGarbageCollectorMXBeans()) {
                names.append(names.length() == 0 ? "" : ", ").append(collector.getName());
            }
            return names.toString();
        }
    }
}
