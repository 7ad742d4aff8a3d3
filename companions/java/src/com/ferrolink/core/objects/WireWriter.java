package com.ferrolink.core.objects;

import java.util.Arrays;

/** Encodes little-endian bytes into an array that grows. Not thread-safe. */
final class WireWriter {

    /** The longest array that every virtual machine can create. */
    private static final int MAXIMUM_SIZE = Integer.MAX_VALUE - 8;

    private byte[] bytes;
    private int size;

    WireWriter(int capacity) {
        bytes = new byte[capacity];
    }

    int size() {
        return size;
    }

    /** Discards everything that was written after a size. */
    void shrink(int smaller) {
        size = smaller;
    }

    /** An array with exactly the written bytes. It may be the writer's own array. */
    byte[] toByteArray() {
        return size == bytes.length ? bytes : Arrays.copyOf(bytes, size);
    }

    WireWriter u8(int value) {
        reserve(1);
        bytes[size++] = (byte) value;
        return this;
    }

    WireWriter i16(int value) {
        reserve(2);
        bytes[size] = (byte) value;
        bytes[size + 1] = (byte) (value >> 8);
        size += 2;
        return this;
    }

    WireWriter i32(int value) {
        reserve(4);
        putInt(size, value);
        size += 4;
        return this;
    }

    WireWriter i64(long value) {
        reserve(8);
        putInt(size, (int) value);
        putInt(size + 4, (int) (value >> 32));
        size += 8;
        return this;
    }

    /** Overwrites four bytes that were written before. */
    void setI32(int index, int value) {
        putInt(index, value);
    }

    WireWriter text(String text) {
        int length = text.length();
        reserve(4L + length);
        int start = size + 4;
        int ascii = WireText.encodeAscii(text, bytes, start);
        int end = start + ascii;
        if (ascii < length) {
            reserve(4L + ascii + (long) WireText.MAXIMUM_PER_CHAR * (length - ascii));
            end = WireText.encode(text, ascii, bytes, end);
        }
        putInt(size, end - start);
        size = end;
        return this;
    }

    WireWriter raw(byte[] source, int offset, int length) {
        reserve(length);
        System.arraycopy(source, offset, bytes, size, length);
        size += length;
        return this;
    }

    /**
     * Adds room for this many bytes. The caller fills it in {@link #bytes}, from the returned index.
     */
    int claim(long length) {
        reserve(length);
        int start = size;
        size += (int) length;
        return start;
    }

    byte[] bytes() {
        return bytes;
    }

    private void reserve(long more) {
        long needed = size + more;
        if (needed > bytes.length) {
            grow(needed);
        }
    }

    private void grow(long needed) {
        if (needed > MAXIMUM_SIZE) {
            throw new OutOfMemoryError("A message of " + needed + " bytes is longer than an array can be.");
        }
        long doubled = Math.min(2L * bytes.length, MAXIMUM_SIZE);
        bytes = Arrays.copyOf(bytes, (int) Math.max(needed, doubled));
    }

    private void putInt(int index, int value) {
        bytes[index] = (byte) value;
        bytes[index + 1] = (byte) (value >> 8);
        bytes[index + 2] = (byte) (value >> 16);
        bytes[index + 3] = (byte) (value >> 24);
    }
}
