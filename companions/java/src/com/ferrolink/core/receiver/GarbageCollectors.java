package com.ferrolink.core.receiver;

import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.lang.management.GarbageCollectorMXBean;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;

/**
 * What collects this JVM's garbage. The module java.management knows best, but takes 35 ms to say so,
 * more than all the rest of the first command; so the names of the collector's own threads are looked
 * at first, which tell the common ones.
 */
final class GarbageCollectors {

    private static final File THREADS = new File("/proc/self/task");

    /** How the names of threads begin, and what has such threads. */
    private static final String[][] TELLING = {
        {"G1 ", "G1"}, {"ZDirector", "Z"}, {"XDirector", "Z"}, {"Shenandoah", "Shenandoah"},
    };

    /** The kernel keeps 15 bytes of a name. */
    private static final int LONGEST_NAME = 16;

    private GarbageCollectors() {
    }

    /** May throw a LinkageError: trimmed runtimes may lack the module. */
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

    /** The collector that has a thread of that name; null where it might be anyone's. */
    static String collectorOf(String thread) {
        for (String[] telling : TELLING) {
            if (thread.startsWith(telling[0])) {
                return telling[1];
            }
        }
        return null;
    }

    /** Empty for a thread that has ended. */
    private static String nameOf(String thread) {
        byte[] name = new byte[LONGEST_NAME];
        try (InputStream file = new FileInputStream(THREADS + "/" + thread + "/comm")) {
            int length = file.read(name);
            return new String(name, 0, Math.max(length, 0), StandardCharsets.ISO_8859_1);
        } catch (IOException ended) {
            return "";
        }
    }

    /** A class of its own, so that it is loaded only where it is needed. */
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
