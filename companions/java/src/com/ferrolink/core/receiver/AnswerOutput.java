package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.util.Arrays;

/**
 * Takes the answer of a {@link BufferHandler}. The bytes go straight into the reply. If the first {@link
 * #space} or {@link #write} is the only one, or {@link #expect} announced the size of the whole answer,
 * they are never copied again.
 *
 * <p><b>Errors:</b> {@link IllegalArgumentException} for a negative size, and for an answer that is longer
 * than an array can be. The answer is then as before.
 *
 * <p><b>Threads:</b> for the thread of the call. When the call is over, all methods that write throw {@link
 * IllegalStateException}; buffers of {@link #space} must not be used any more.
 */
public final class AnswerOutput extends OutputStream {

    /** The number of bytes before the answer. */
    static final int ROOM = CommandHeader.SIZE;

    /** The longest array that every JVM can allocate. */
    private static final int LONGEST = Integer.MAX_VALUE - 8;

    private static final byte[] NOTHING = {};

    /** Room for the header, then the answer. Empty before the first byte; null after the call. */
    private byte[] bytes = NOTHING;
    private int end = ROOM;

    AnswerOutput() {
    }

    /**
     * Makes room for that many bytes of answer, the written ones included. A hint: the answer may become
     * shorter or longer.
     *
     * @param size the expected size of the whole answer, not negative
     */
    public void expect(int size) {
        requireOpen();
        requireNotNegative(size);
        if (size > bytes.length - ROOM) {
            resize(requireRoom((long) ROOM + size));
        }
    }

    /**
     * Appends zero bytes to the answer, for the handler to overwrite.
     *
     * @param size how many, not negative
     * @return a buffer of exactly these bytes, big-endian, from position 0 to its limit. It is valid until
     *     the next call of a method that writes.
     */
    public ByteBuffer space(int size) {
        requireNotNegative(size);
        int start = append(size);
        return ByteBuffer.wrap(bytes, start, size).slice();
    }

    /** Appends the low byte of the number. */
    @Override
    public void write(int value) {
        int start = append(1);
        bytes[start] = (byte) value;
    }

    /** Appends all bytes of the array. */
    @Override
    public void write(byte[] source) {
        write(source, 0, source.length);
    }

    /** Appends a part of the array. */
    @Override
    public void write(byte[] source, int offset, int size) {
        if (offset < 0 || size < 0 || size > source.length - offset) {
            throw new IndexOutOfBoundsException(size + " bytes from " + offset + " on are not in an array of "
                    + source.length + " bytes.");
        }
        int start = append(size);
        System.arraycopy(source, offset, bytes, start, size);
    }

    /**
     * Appends what remains in the buffer, whose position moves to its limit.
     *
     * @param source the bytes, not null
     */
    public void write(ByteBuffer source) {
        int size = source.remaining();
        int start = append(size);
        source.get(bytes, start, size);
    }

    /**
     * The number of bytes in the answer so far.
     *
     * @return 0 or more
     */
    public int size() {
        return end - ROOM;
    }

    /** The reply with room for a header, all zero. Ends the use of this object. */
    byte[] finish() {
        requireOpen();
        byte[] reply = bytes.length == end ? bytes : Arrays.copyOf(bytes, end);
        bytes = null;
        return reply;
    }

    /** Makes the answer longer. Returns where the new bytes begin, which are zero. */
    private int append(int size) {
        requireOpen();
        int start = end;
        int needed = requireRoom((long) end + size);
        if (needed > bytes.length) {
            // The first bytes get exactly the room that they need: often they are all.
            resize(bytes == NOTHING ? needed : (int) Math.min(LONGEST, Math.max(needed, 2L * bytes.length)));
        }
        end = needed;
        return start;
    }

    private void resize(int length) {
        bytes = bytes == NOTHING ? new byte[length] : Arrays.copyOf(bytes, length);
    }

    private void requireOpen() {
        if (bytes == null) {
            throw new IllegalStateException("The call is over: its answer cannot be written any more.");
        }
    }

    private static void requireNotNegative(int size) {
        if (size < 0) {
            throw new IllegalArgumentException("An answer cannot have " + size + " bytes.");
        }
    }

    private static int requireRoom(long length) {
        if (length > LONGEST) {
            throw new IllegalArgumentException("An answer of " + (length - ROOM)
                    + " bytes is longer than an array can be.");
        }
        return (int) length;
    }
}
