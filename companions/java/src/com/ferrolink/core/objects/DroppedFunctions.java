package com.ferrolink.core.objects;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** Reports to the C++ member the functions whose proxies were collected. Thread-safe. */
final class DroppedFunctions {

    static final int DROPPED = 2;

    private static final int CAPACITY = 256;

    private final CppCalls calls;
    /** Reports that could not be sent yet. Guarded by this. */
    private List<Entry> unsent = new ArrayList<>();

    DroppedFunctions(CppCalls calls) {
        this.calls = calls;
    }

    /** Sends these reports, together with those that could not be sent before. */
    void report(List<Entry> entries) {
        List<Entry> all = takeUnsent();
        all.addAll(entries);
        Map<String, List<Entry>> byHandler = new LinkedHashMap<>();
        for (Entry entry : all) {
            byHandler.computeIfAbsent(entry.key.handler(), absent -> new ArrayList<>()).add(entry);
        }
        byHandler.forEach(this::send);
    }

    private synchronized List<Entry> takeUnsent() {
        List<Entry> taken = unsent;
        unsent = new ArrayList<>();
        return taken;
    }

    private void send(String handler, List<Entry> entries) {
        boolean done = false;
        try {
            WireWriter wire = new WireWriter(CAPACITY);
            wire.u8(DROPPED).i32(entries.size());
            for (Entry entry : entries) {
                wire.i64(entry.key.id()).i32(entry.times);
            }
            done = calls.notify(handler, wire.toByteArray());
        } finally {
            if (!done) {
                synchronized (this) {
                    unsent.addAll(entries);
                }
            }
        }
    }

    /** A function whose proxy was collected, and how often the proxy was returned to C++. */
    static final class Entry {
        final FunctionKey key;
        final int times;

        Entry(FunctionKey key, int times) {
            this.key = key;
            this.times = times;
        }
    }
}
