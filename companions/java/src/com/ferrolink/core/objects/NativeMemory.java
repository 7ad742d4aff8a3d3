package com.ferrolink.core.objects;

import java.lang.reflect.Array;
import java.util.Arrays;

/**
 * Copies between arrays of primitives and native memory of this process. Native code of this process
 * registers the native methods and enables a secret key. Only requests with a valid key may name
 * addresses, so requests of other processes cannot.
 *
 * <p><b>Threads:</b> thread-safe.
 */
public final class NativeMemory {

    /** Replaced as a whole, under the lock. */
    private static volatile long[] keys = {};

    private NativeMemory() {
    }

    /**
     * Makes a key valid for the rest of the process. The caller has registered both native methods
     * before.
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
     * @param first the index of the first element to write
     * @param n the number of elements
     * @param address the address of the first element in memory
     */
    static native void copyIn(Object array, int tag, int first, int n, long address);

    /**
     * Copies from an array into memory.
     *
     * @param array an array of primitives
     * @param tag the tag of its elements
     * @param first the index of the first element to read
     * @param n the number of elements
     * @param address the address to write to
     */
    static native void copyOut(Object array, int tag, int first, int n, long address);

    /** Whether a key is valid. The comparison takes the same time for all invalid keys. */
    static boolean isEnabled(long key) {
        boolean found = false;
        for (long known : keys) {
            found |= (known ^ key) == 0;
        }
        return found;
    }

    /** @throws Refusal if the key is not valid */
    static void requireKey(long key) {
        if (!isEnabled(key)) {
            throw new Refusal(Refusal.REFUSED, "Addresses of memory are taken only from this process, with"
                    + " the key that it has enabled.");
        }
    }

    /** Creates an array with elements from memory. */
    static Object read(int tag, int count, long address, long key) {
        requireKey(key);
        Object array = PrimitiveArrays.make(tag, count);
        copyIn(array, tag, 0, count, address);
        return array;
    }

    /** @throws Refusal if the key is not valid, or if the array does not have these elements */
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
