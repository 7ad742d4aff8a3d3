package com.ferrolink.core.objects;

import java.nio.charset.StandardCharsets;

/**
 * Encodes and decodes texts as UTF-8. A lone surrogate is encoded as three bytes of its own, so every
 * String survives.
 */
final class WireText {

    private static final int FIRST_SUPPLEMENTARY = 0x10000;

    /**
     * The maximum number of bytes for one char. A pair of surrogates takes four bytes for two chars.
     */
    static final int MAXIMUM_PER_CHAR = 3;

    private WireText() {
    }

    /** The number of leading chars that were encoded as one byte each. Those bytes are final. */
    static int encodeAscii(String text, byte[] bytes, int offset) {
        int length = text.length();
        for (int index = 0; index < length; index++) {
            char unit = text.charAt(index);
            if (unit >= 0x80) {
                return index;
            }
            bytes[offset + index] = (byte) unit;
        }
        return length;
    }

    /**
     * Encodes the text from a char to its end. There must be room for three bytes for each char.
     * Returns the index behind the last byte.
     */
    static int encode(String text, int first, byte[] bytes, int offset) {
        int at = offset;
        int length = text.length();
        for (int index = first; index < length; index++) {
            char unit = text.charAt(index);
            if (unit < 0x80) {
                bytes[at++] = (byte) unit;
            } else if (unit < 0x800) {
                bytes[at++] = (byte) (0xC0 | unit >> 6);
                bytes[at++] = (byte) (0x80 | unit & 0x3F);
            } else if (Character.isHighSurrogate(unit) && index + 1 < length
                    && Character.isLowSurrogate(text.charAt(index + 1))) {
                int point = Character.toCodePoint(unit, text.charAt(++index));
                bytes[at++] = (byte) (0xF0 | point >> 18);
                bytes[at++] = (byte) (0x80 | point >> 12 & 0x3F);
                bytes[at++] = (byte) (0x80 | point >> 6 & 0x3F);
                bytes[at++] = (byte) (0x80 | point & 0x3F);
            } else {
                bytes[at++] = (byte) (0xE0 | unit >> 12);
                bytes[at++] = (byte) (0x80 | unit >> 6 & 0x3F);
                bytes[at++] = (byte) (0x80 | unit & 0x3F);
            }
        }
        return at;
    }

    /**
     * Decodes a text. All its bytes must be present.
     *
     * @throws Refusal naming the offset, if the bytes are malformed
     */
    static String decode(byte[] bytes, int offset, int size) {
        int end = offset + size;
        for (int index = offset; index < end; index++) {
            if (bytes[index] < 0) {
                return decodeFrom(bytes, offset, index, end);
            }
        }
        return new String(bytes, offset, size, StandardCharsets.ISO_8859_1);
    }

    private static String decodeFrom(byte[] bytes, int offset, int firstOther, int end) {
        char[] units = new char[end - offset];
        int count = 0;
        int at = offset;
        while (at < firstOther) {
            units[count++] = (char) bytes[at++];
        }
        while (at < end) {
            int lead = bytes[at];
            if (lead >= 0) {
                units[count++] = (char) lead;
                at++;
                continue;
            }
            int size = sizeOf(lead & 0xFF);
            int point = size == 0 || end - at < size ? -1 : pointOf(bytes, at, size);
            if (point < 0) {
                throw Refusal.malformed(at, "the text is no valid UTF-8.");
            }
            if (point >= FIRST_SUPPLEMENTARY) {
                units[count++] = Character.highSurrogate(point);
                units[count++] = Character.lowSurrogate(point);
            } else {
                units[count++] = (char) point;
            }
            at += size;
        }
        return new String(units, 0, count);
    }

    /**
     * The length of the sequence that begins with this byte; 0 if no sequence of several bytes does.
     */
    private static int sizeOf(int lead) {
        if (lead >= 0xC2 && lead < 0xE0) {
            return 2;
        }
        if (lead >= 0xE0 && lead < 0xF0) {
            return 3;
        }
        return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
    }

    /**
     * The char or code point of a sequence; -1 if it has a wrong continuation byte, is overlong, or is
     * beyond Unicode.
     */
    private static int pointOf(byte[] bytes, int at, int size) {
        int point = bytes[at] & 0x7F >> size;
        for (int index = 1; index < size; index++) {
            int next = bytes[at + index] & 0xFF;
            if (next >> 6 != 2) {
                return -1;
            }
            point = point << 6 | next & 0x3F;
        }
        int least = size == 2 ? 0x80 : size == 3 ? 0x800 : FIRST_SUPPLEMENTARY;
        return point < least || point > Character.MAX_CODE_POINT ? -1 : point;
    }
}
