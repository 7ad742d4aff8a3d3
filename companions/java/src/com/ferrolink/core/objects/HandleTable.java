package com.ferrolink.core.objects;

import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicIntegerArray;
import java.util.concurrent.atomic.AtomicLongArray;
import java.util.concurrent.atomic.AtomicReferenceArray;

/**
 * The objects that other runtimes hold, by handle. A handle has the index of a slot in its low half,
 * and the slot's generation, which is never 0, in its high half. Releasing a handle changes the
 * generation, so stale handles are recognised. A slot whose generations are used up is not reused.
 *
 * <p>Thread-safe and lock-free, except when the table grows. The table never shrinks.
 */
final class HandleTable {

    static final String STALE = "is stale: its object was released, or it comes from another process.";

    private static final int CHUNK_BITS = 10;
    private static final int CHUNK_SIZE = 1 << CHUNK_BITS;
    private static final int CHUNK_MASK = CHUNK_SIZE - 1;
    private static final int MAXIMUM_SLOTS = 1 << 27;

    /** The number of lists of free slots. Several lists reduce contention. A power of two. */
    private static final int STRIPES = 16;
    /** The distance of two lists in {@link #heads}, so that they do not share a cache line. */
    private static final int SPREAD = 16;

    private static final long LOW = 0xFFFFFFFFL;

    private static final HandleTable SHARED = new HandleTable(1);

    private final int firstGeneration;
    private volatile Chunk[] chunks = {};
    /**
     * The head of each list. The low half is index + 1, or 0 for an empty list. The high half counts
     * changes; without it, a slot that was removed and returned in between would go unnoticed (ABA
     * problem).
     */
    private final AtomicLongArray heads = new AtomicLongArray(STRIPES * SPREAD);
    /** The index of the first slot that was never used. */
    private final AtomicInteger unused = new AtomicInteger();

    /** Tests start with a high generation. The table of the process starts with 1. */
    HandleTable(int firstGeneration) {
        this.firstGeneration = firstGeneration;
    }

    static HandleTable shared() {
        return SHARED;
    }

    /** Creates a handle of the object, which must not be null. */
    long add(Object object) {
        int index = takeFree();
        Chunk chunk = chunks[index >>> CHUNK_BITS];
        int place = index & CHUNK_MASK;
        // Stored before the handle is returned. Another thread can only use the handle after it has
        // synchronised with this one.
        chunk.objects.lazySet(place, object);
        return (long) chunk.generations.get(place) << Integer.SIZE | index;
    }

    /** The object of a handle; null if the handle is stale. */
    Object find(long handle) {
        Chunk chunk = chunkOf(handle);
        if (chunk == null) {
            return null;
        }
        int place = (int) handle & CHUNK_MASK;
        Object object = chunk.objects.get(place);
        // Read after the object: a thread that reuses the slot changes the generation before the
        // object.
        return chunk.generations.get(place) == generationOf(handle) ? object : null;
    }

    /**
     * The object of a handle.
     *
     * @throws Refusal if the handle is stale
     */
    Object get(long handle) {
        Object object = find(handle);
        if (object == null) {
            throw new Refusal(Refusal.STALE, "Handle " + (handle & LOW) + " of generation "
                    + (handle >>> Integer.SIZE) + ' ' + STALE);
        }
        return object;
    }

    /** Releases a handle. Returns false if it was stale. */
    boolean release(long handle) {
        Chunk chunk = chunkOf(handle);
        if (chunk == null) {
            return false;
        }
        int place = (int) handle & CHUNK_MASK;
        int generation = generationOf(handle);
        if (chunk.objects.get(place) == null
                || !chunk.generations.compareAndSet(place, generation, generation + 1)) {
            return false;
        }
        // Cleared before the slot becomes free; giveFree has a memory barrier.
        chunk.objects.lazySet(place, null);
        if (generation + 1 != 0) {
            giveFree((int) handle, chunk);
        }
        return true;
    }

    /** The number of handles. Approximate while other threads create and release handles. */
    long size() {
        long count = 0;
        for (Chunk chunk : chunks) {
            for (int place = 0; place < CHUNK_SIZE; place++) {
                count += chunk.objects.get(place) == null ? 0 : 1;
            }
        }
        return count;
    }

    /** The number of handles by the names of their objects' classes. */
    Map<String, Long> sizesByClass() {
        Map<String, Long> sizes = new TreeMap<>();
        for (Chunk chunk : chunks) {
            for (int place = 0; place < CHUNK_SIZE; place++) {
                Object object = chunk.objects.get(place);
                if (object != null) {
                    sizes.merge(object.getClass().getName(), 1L, Long::sum);
                }
            }
        }
        return sizes;
    }

    private static int generationOf(long handle) {
        return (int) (handle >>> Integer.SIZE);
    }

    private Chunk chunkOf(long handle) {
        long number = (handle & LOW) >>> CHUNK_BITS;
        Chunk[] known = chunks;
        return number < known.length ? known[(int) number] : null;
    }

    private int takeFree() {
        int stripe = stripe();
        for (int turn = 0; turn < STRIPES; turn++) {
            int index = pop((stripe + turn & STRIPES - 1) * SPREAD);
            if (index >= 0) {
                return index;
            }
        }
        if (unused.get() >= MAXIMUM_SLOTS) {
            throw new OutOfMemoryError("There are " + MAXIMUM_SLOTS + " handles of objects, and no more.");
        }
        int index = unused.getAndIncrement();
        if (index >>> CHUNK_BITS >= chunks.length) {
            grow(index >>> CHUNK_BITS);
        }
        return index;
    }

    private void giveFree(int index, Chunk chunk) {
        int list = stripe() * SPREAD;
        long head;
        do {
            head = heads.get(list);
            chunk.next.lazySet(index & CHUNK_MASK, (int) head);
        } while (!heads.compareAndSet(list, head, changed(head) | index + 1));
    }

    /** Removes a slot from a list and returns its index; -1 if the list is empty. */
    private int pop(int list) {
        while (true) {
            long head = heads.get(list);
            int index = (int) head - 1;
            if (index < 0) {
                return -1;
            }
            int next = chunks[index >>> CHUNK_BITS].next.get(index & CHUNK_MASK);
            if (heads.compareAndSet(list, head, changed(head) | next)) {
                return index;
            }
        }
    }

    private static long changed(long head) {
        return (head >>> Integer.SIZE) + 1 << Integer.SIZE;
    }

    private static int stripe() {
        return stripeOf(Thread.currentThread().getId());
    }

    /** The list that a thread tries first. */
    static int stripeOf(long threadId) {
        return (int) (threadId ^ threadId >>> 4) & STRIPES - 1;
    }

    private synchronized void grow(int number) {
        Chunk[] known = chunks;
        if (number < known.length) {
            return;
        }
        Chunk[] more = new Chunk[number + 1];
        System.arraycopy(known, 0, more, 0, known.length);
        for (int index = known.length; index <= number; index++) {
            more[index] = new Chunk(firstGeneration);
        }
        chunks = more;
    }

    private static final class Chunk {
        final AtomicReferenceArray<Object> objects = new AtomicReferenceArray<>(CHUNK_SIZE);
        final AtomicIntegerArray generations = new AtomicIntegerArray(CHUNK_SIZE);
        /** For a free slot: index + 1 of the next one in its list, or 0 at the end of the list. */
        final AtomicIntegerArray next = new AtomicIntegerArray(CHUNK_SIZE);

        Chunk(int firstGeneration) {
            for (int place = 0; place < CHUNK_SIZE; place++) {
                generations.set(place, firstGeneration);
            }
        }
    }
}
