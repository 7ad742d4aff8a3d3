package com.ferrolink.core.objects;

/**
 * Decodes little-endian bytes. Checks every length and count against the remaining bytes before
 * anything is allocated for it. Not thread-safe.
 *
 * <p>Failures are {@link Refusal}s that name the offset from the start of the reader.
 */
final class WireReader {

    private final byte[] bytes;
    private final int origin;
    private final int end;
    private int at;

    WireReader(byte[] bytes, int offset, int end) {
        this.bytes = bytes;
        this.origin = offset;
        this.end = end;
        this.at = offset;
    }

    byte[] bytes() {
        return bytes;
    }

    /** The index of the next byte in {@link #bytes}. */
    int position() {
        return at;
    }

    /** The number of bytes read so far. */
    int offset() {
        return at - origin;
    }

    int left() {
        return end - at;
    }

    /** The next byte, which stays unread. */
    int peek() {
        need(1);
        return bytes[at] & 0xFF;
    }

    int u8() {
        need(1);
        return bytes[at++] & 0xFF;
    }

    int u16() {
        need(2);
        int value = bytes[at] & 0xFF | (bytes[at + 1] & 0xFF) << 8;
        at += 2;
        return value;
    }

    int i32() {
        need(4);
        int value = intAt(at);
        at += 4;
        return value;
    }

    long i64() {
        need(8);
        long value = intAt(at) & 0xFFFFFFFFL | (long) intAt(at + 4) << 32;
        at += 8;
        return value;
    }

    /** Reads a count of elements that take at least this many bytes each. */
    int count(int leastSize) {
        int value = i32();
        if (value < 0 || (long) value * leastSize > left()) {
            throw malformed(4, (value & 0xFFFFFFFFL) + " elements are announced, " + left()
                    + " bytes follow.");
        }
        return value;
    }

    String text() {
        int size = count(1);
        int start = at;
        at += size;
        try {
            return WireText.decode(bytes, start, size);
        } catch (Refusal refusal) {
            throw Refusal.malformed(start - origin, "a text is no valid UTF-8.");
        }
    }

    /** Skips bytes that the caller reads from {@link #bytes}. Returns the index of the first one. */
    int skip(int size) {
        need(size);
        int start = at;
        at += size;
        return start;
    }

    void requireEnd() {
        if (at != end) {
            throw malformed(0, left() + " bytes are left over.");
        }
    }

    /** Creates the refusal for data that began this many bytes before the current position. */
    Refusal malformed(int before, String text) {
        return Refusal.malformed(at - origin - before, text);
    }

    private void need(int size) {
        if (end - at < size) {
            throw malformed(0, size + " bytes are needed, " + left() + " are left.");
        }
    }

    private int intAt(int index) {
        return bytes[index] & 0xFF | (bytes[index + 1] & 0xFF) << 8 | (bytes[index + 2] & 0xFF) << 16
                | bytes[index + 3] << 24;
    }
}
