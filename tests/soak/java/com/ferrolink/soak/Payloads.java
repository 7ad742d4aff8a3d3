package com.ferrolink.soak;

import java.util.Arrays;
import java.util.Random;

/** Random payloads of 0 bytes to 1 MiB, mostly small, like Payloads.h. Not thread-safe. */
final class Payloads {

    private static final int LARGEST = 1 << 20;
    private static final int OFFSETS = 251;
    private static final int[] EDGES = {0, 1, 2048, 2049, 4096, 65535, 65536, LARGEST};

    private final Random random;
    private final byte[] bytes = new byte[LARGEST + OFFSETS];

    Payloads(int seed) {
        random = new Random(seed);
        random.nextBytes(bytes);
    }

    byte[] next() {
        int kind = below(1000);
        if (kind < 40) {
            return ofSize(EDGES[kind % EDGES.length]);
        }
        return ofSize(below(kind < 700 ? 256 : kind < 940 ? 4096 : kind < 990 ? 65536 : LARGEST + 1));
    }

    byte[] small() {
        return ofSize(below(256));
    }

    byte[] largest() {
        return ofSize(LARGEST);
    }

    int below(int limit) {
        return random.nextInt(limit);
    }

    private byte[] ofSize(int size) {
        int offset = below(OFFSETS);
        return Arrays.copyOfRange(bytes, offset, offset + size);
    }
}
