package com.ferrolink.core.objects;

import java.lang.reflect.Array;
import java.util.Arrays;

/**
 * Copies between arrays of primitives and memory of the process. Native code of this process registers
 * the native methods and enables a key that it keeps to itself; only requests with such a key may name
 * addresses, which those of other processes therefore cannot.
 *
 * <p><b>Threads:</b> every method may be called by any number of threads at once.
 */
public final class NativeMemory {

    /** Replaced as a whole, under the lock. */
    private static volatile long[] keys = {};

    private NativeMemory() {
    }

    /**
     * Makes a key valid for the rest of the process. Its caller has registered both native methods.
     *
     * @param key random, not 0
     * @throws IllegalArgumentException for 0, which stands for no key
     */
    public static synchronized void enable(long key) {
        if (key == 0) {
            throw new IllegalArgumentException("A key is not 0.");
        }
        long[] more = Arrays.copyOf(keys, keys.length + 1);
        more[keys.length] = key;
        keys = more;
    }

    /**
     * Copies from memory into an array.
     *
     * @param array an array of primitives
     * @param tag the tag of its elements
     * @param first where to begin in the array
     * @param n how many elements
     * @param address where they are in memory
     */
    static native void copyIn(Object array, int tag, int first, int n, long address);

    /**
     * Copies from an array into memory.
     *
     * @param array an array of primitives
     * @param tag the tag of its elements
     * @param first where to begin in the array
     * @param n how many elements
     * @param address where they go
     */
    static native void copyOut(Object array, int tag, int first, int n, long address);

    /** Whether a key is valid; it takes as long for each that is not. */
    static boolean isEnabled(long key) {
        boolean found = false;
        for (long known : keys) {
            found |= (known ^ key) == 0;
        }
        return found;
    }

    /** @throws Refusal for a key that is not valid */
    static void requireKey(long key) {
        if (!isEnabled(key)) {
            throw new Refusal(Refusal.REFUSED, "Addresses of memory are taken only from this process, with"
                    + " the key that it has enabled.");
        }
    }

    /** A new array with elements from memory. */
    static Object read(int tag, int count, long address, long key) {
        requireKey(key);
        Object array = PrimitiveArrays.make(tag, count);
        copyIn(array, tag, 0, count, address);
        return array;
    }

    /** @throws Refusal for a key that is not valid, and elements that the array does not have */
    static void write(Object array, int first, int count, long address, long key) {
        requireKey(key);
        int tag = PrimitiveArrays.tagOf(array.getClass().getComponentType());
        if (tag == 0) {
            throw new Refusal(Refusal.NO_CONVERSION, Signature.of(array.getClass())
                    + " is no array of primitives.");
        }
        int length = Array.getLength(array);
        if (first < 0 || count < 0 || count > length - first) {
            throw new Refusal(Refusal.NO_CONVERSION, "An array of " + length + " elements has no "
                    + (count & 0xFFFFFFFFL) + " from " + (first & 0xFFFFFFFFL) + " on.");
        }
        copyOut(array, tag, first, count, address);
    }
}
