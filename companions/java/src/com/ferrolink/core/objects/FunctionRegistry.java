package com.ferrolink.core.objects;

import java.lang.ref.ReferenceQueue;
import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * The proxies for functions of the C++ member. The same function and interfaces give the same proxy as
 * long as the proxy is alive. When it is collected, the registry reports to C++ how often it returned
 * the proxy. C++ frees the function if that equals the number of its requests. Thread-safe.
 */
final class FunctionRegistry {

    private static final FunctionRegistry SHARED = new FunctionRegistry(CppCalls.MEMBER);

    private final CppCalls calls;
    private final DroppedFunctions dropped;
    private final ReferenceQueue<Object> collected = new ReferenceQueue<>();

    // Guarded by this.
    private final Map<FunctionKey, Given> live = new HashMap<>();
    private boolean watched;

    FunctionRegistry(CppCalls calls) {
        this.calls = calls;
        this.dropped = new DroppedFunctions(calls);
    }

    /** The registry of the process. */
    static FunctionRegistry shared() {
        return SHARED;
    }

    /**
     * Writes the proxy of a function, and counts that it was returned.
     *
     * @param names the methods that the function implements
     * @return the proxy
     * @throws Refusal if a type is no interface, or a name does not match
     */
    Object implement(FunctionKey key, FunctionNames names, ClassFinder classes, ValueWriter out) {
        reportCollected();
        watch();
        Object object = find(key);
        if (object == null) {
            object = remember(key, FunctionProxy.make(key, names, classes, calls));
        }
        out.object(object);
        count(key);
        return object;
    }

    /** The number of live proxies. */
    long size() {
        reportCollected();
        synchronized (this) {
            return live.size();
        }
    }

    private synchronized Object find(FunctionKey key) {
        Given given = live.get(key);
        return given == null ? null : given.get();
    }

    /** Stores a proxy, unless another thread has stored one meanwhile. Returns the stored one. */
    private synchronized Object remember(FunctionKey key, Object object) {
        Object first = find(key);
        if (first != null) {
            return first;
        }
        live.put(key, new Given(key, object, collected));
        return object;
    }

    /** The caller refers to the proxy, so its entry exists. */
    private synchronized void count(FunctionKey key) {
        live.get(key).times++;
    }

    /** Reports the proxies that were collected so far. Does not wait for others. */
    private void reportCollected() {
        Object first = collected.poll();
        if (first != null) {
            report((Given) first);
        }
    }

    private void report(Given first) {
        List<DroppedFunctions.Entry> entries = new ArrayList<>();
        synchronized (this) {
            for (Object next = first; next != null; next = collected.poll()) {
                Given given = (Given) next;
                // A later proxy of the same function may have replaced this entry.
                live.remove(given.key, given);
                if (given.times > 0) {
                    entries.add(new DroppedFunctions.Entry(given.key, given.times));
                }
            }
        }
        dropped.report(entries);
    }

    private void watch() {
        synchronized (this) {
            if (watched) {
                return;
            }
            watched = true;
        }
        Thread watcher = new Thread(this::watchForEver, "ferrolink-functions");
        watcher.setDaemon(true);
        watcher.setContextClassLoader(FunctionRegistry.class.getClassLoader());
        watcher.start();
    }

    private void watchForEver() {
        while (true) {
            try {
                report((Given) collected.remove());
            } catch (InterruptedException meaningless) {
                // The thread has no end, so an interrupt is ignored.
            } catch (OutOfMemoryError later) {
                // The next report includes what this one failed to send.
            }
        }
    }

    /** A proxy that was returned to C++. The queue notices its collection. */
    private static final class Given extends WeakReference<Object> {
        final FunctionKey key;
        /** Guarded by the registry. */
        int times;

        Given(FunctionKey key, Object object, ReferenceQueue<Object> queue) {
            super(object, queue);
            this.key = key;
        }
    }
}
