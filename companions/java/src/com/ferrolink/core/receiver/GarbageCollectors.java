package com.ferrolink.core.receiver;

import java.lang.management.GarbageCollectorMXBean;
import java.lang.management.ManagementFactory;

/**
 * The only user of the module java.management, which trimmed runtimes may lack: its method then
 * throws a LinkageError.
 */
final class GarbageCollectors {

    private GarbageCollectors() {
    }

    static String names() {
        StringBuilder names = new StringBuilder();
        for (GarbageCollectorMXBean collector : ManagementFactory.getGarbageCollectorMXBeans()) {
            names.append(names.length() == 0 ? "" : ", ").append(collector.getName());
        }
        return names.toString();
    }
}
