package com.ferrolink.core.objects;

import java.lang.ref.ReferenceQueue;
import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * The functions of the C++ member that stand for Java objects. While such an object lives, the same
 * function and interfaces give the same one again. When it is collected, C++ is told how often it was
 * given out, and frees the function when that is as often as it asked. Safe for any thread.
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

    /** The one of the process. */
    static FunctionRegistry shared() {
        return SHARED;
    }

    /**
     * Writes the object that a function stands for, and counts that it was given out.
     *
     * @param names the methods that the function has
     * @return the object
     * @throws Refusal for what is no interface, and names that do not fit
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

    /** How many functions have objects. */
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

    /** Another thread may have been first. */
    private synchronized Object remember(FunctionKey key, Object object) {
        Object first = find(key);
        if (first != null) {
            return first;
        }
        live.put(key, new Given(key, object, collected));
        return object;
    }

    /** The caller holds the object, so the entry is its. */
    private synchronized void count(FunctionKey key) {
        live.get(key).times++;
    }

    /** Tells C++ of the objects that were collected, without waiting for any. */
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
                // A later object of the same function may have taken its place.
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
                // Nobody has a reason to end this thread.
            } catch (OutOfMemoryError later) {
                // What was not reported is reported with the next one.
            }
        }
    }

    /** An object that was given out; its collection is noticed by the queue. */
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
