package com.ferrolink;

import java.util.BitSet;
import java.util.HashMap;
import java.util.Map;

/**
 * The errors that occur before a command is executed, by prefix and code. Other errors may occur after
 * it. Valid for errors of sending; errors of reading a response always occur after execution.
 */
final class NotExecuted {

    private static final Map<String, BitSet> CODES = new HashMap<>();

    static {
        add("JVM Launcher", 1, 16);
        add("JVM Launcher", 18, 22);
        add("JVM Launcher", 32, 36);
        add("Ferrolink Native Exception", 1, 2);
        add("Ferrolink Native Exception", 11, 16);
        add("Ferrolink Native Exception", 19, 21);
        add("Ferrolink Native Exception", 23, 23);
        add("Ferrolink Native Exception", 31, 32);
        add("JVM Lib", 1, 2);
        add("Network Client", 1, 1);
        add("Network Client", 3, 6);
        add("Network Client", 8, 9);
    }

    private NotExecuted() {
    }

    static boolean covers(String prefix, int code) {
        BitSet codes = CODES.get(prefix);
        return codes != null && code >= 0 && codes.get(code);
    }

    private static void add(String prefix, int first, int last) {
        CODES.computeIfAbsent(prefix, absent -> new BitSet()).set(first, last + 1);
    }
}
