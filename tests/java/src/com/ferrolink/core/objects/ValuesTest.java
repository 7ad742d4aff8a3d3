package com.ferrolink.core.objects;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("Values of typed calls")
final class ValuesTest {

    private static final String FIXTURES = "com.ferrolink.core.objects.Fixtures";

    private final Client client = new Client();

    private Object echoed(Object value) {
        return client.callStatic(FIXTURES, "identity", value);
    }

    @Test
    @DisplayName("have exactly these bytes")
    void bytes() {
        byte[] request = {0, 0, 1, 1, 10, 14, 0, 0, 0, 'j', 'a', 'v', 'a', '.', 'l', 'a', 'n', 'g', '.', 'M',
            'a', 't', 'h', 3, 0, 0, 0, 'a', 'b', 's'};
        byte[] reply = Client.answer(request);
        assertEquals(5, reply.length);
        assertEquals(0, reply[0]);
        byte[] invoke = {0, 0, 2, reply[1], reply[2], reply[3], reply[4], 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
            0, 0, 0, 0, 1, 6, -2, -1, -1, -1};
        assertArrayEquals(new byte[] {0, 6, 2, 0, 0, 0}, Client.answer(invoke));
        invoke[25] = 9;
        byte[] wide = Arrays.copyOf(invoke, invoke.length + 4);
        wide[33] = (byte) 0xC0;
        wide[26] = 0;
        wide[27] = 0;
        wide[28] = 0;
        wide[29] = 0;
        assertArrayEquals(new byte[] {0, 9, 0, 0, 0, 0, 0, 0, 0, 0x40}, Client.answer(wide));
    }

    @Test
    @DisplayName("come back as what they were")
    void roundTrip() {
        Object[] values = {null, true, false, (byte) -128, (short) -32768, '\0', '\uFFFF', Integer.MIN_VALUE,
            Long.MIN_VALUE, Float.MIN_VALUE, Double.MAX_VALUE, ""};
        for (Object value : values) {
            assertEquals(value, echoed(value));
        }
        assertTrue(Double.isNaN((Double) echoed(Double.NaN)));
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "ascii", "größer", "\0", "\u07FF\u0800\uFFFF", "\uD83D\uDE00 pair",
        "\uD800", "\uDC00 low first", "high last \uDBFF", "\uDC00\uD800", "\uD800\uD83D\uDE00\uDFFF"})
    @DisplayName("that are texts keep every char, lone surrogates too")
    void texts(String text) {
        assertEquals(text, echoed(text));
        assertEquals(text.length(), client.call(client.make("java.lang.String", text), "length"));
    }

    @Test
    @DisplayName("that are texts have these bytes, and other bytes are refused")
    void textBytes() {
        assertEquals("\uD83D\uDE00", echoed(new Client.Raw(10, 4, 0, 0, 0, 0xF0, 0x9F, 0x98, 0x80)));
        assertEquals("\uD800", echoed(new Client.Raw(10, 3, 0, 0, 0, 0xED, 0xA0, 0x80)));
        int[][] bad = {{0x80}, {0xC0, 0x80}, {0xC1, 0xBF}, {0xC3}, {0xE0, 0x9F, 0xBF}, {0xE2, 0x82},
            {0xF0, 0x8F, 0xBF, 0xBF}, {0xF4, 0x90, 0x80, 0x80}, {0xF5, 0x80, 0x80, 0x80}, {0xFF},
            {0xC3, 0x28}};
        for (int[] bytes : bad) {
            int[] value = new int[5 + bytes.length];
            value[0] = 10;
            value[1] = bytes.length;
            System.arraycopy(bytes, 0, value, 5, bytes.length);
            Refused refused =
                    assertThrows(Refused.class, () -> echoed(new Client.Raw(value)));
            assertEquals(1, refused.kind);
            assertEquals("Malformed data at offset 30: a text is no valid UTF-8.", refused.getMessage());
        }
    }

    @Test
    @DisplayName("that are arrays of primitives come back in bulk")
    void primitiveArrays() {
        assertArrayEquals(new boolean[] {true, false}, (boolean[]) echoed(new boolean[] {true, false}));
        assertArrayEquals(new byte[] {-1, 2}, (byte[]) echoed(new byte[] {-1, 2}));
        assertArrayEquals(new short[] {-1, 2}, (short[]) echoed(new short[] {-1, 2}));
        assertArrayEquals(new char[] {'a', '\uD800'}, (char[]) echoed(new char[] {'a', '\uD800'}));
        assertArrayEquals(new int[] {-1, 2}, (int[]) echoed(new int[] {-1, 2}));
        assertArrayEquals(new long[] {-1, 2}, (long[]) echoed(new long[] {-1, 2}));
        assertArrayEquals(new float[] {-1, 2}, (float[]) echoed(new float[] {-1, 2}));
        assertArrayEquals(new double[0], (double[]) echoed(new double[0]));
        double[] large = new double[100_000];
        Arrays.setAll(large, index -> index);
        assertArrayEquals(large, (double[]) echoed(large));
    }

    @Test
    @DisplayName("that are arrays of objects come back with their component types")
    void objectArrays() {
        assertEquals("Ljava/lang/String;[a, null, ö]", echoed(new String[] {"a", null, "ö"}).toString());
        assertEquals("[I[[1], null, [2, 3]]", echoed(new int[][] {{1}, null, {2, 3}}).toString());
        assertEquals("[I[[1, 2], [3], null]", client.callStatic(FIXTURES, "grid").toString());
        assertEquals("[Ljava/lang/String;[Ljava/lang/String;[x]]",
                echoed(new String[][] {{"x"}}).toString());
        Handle object = client.make("java.lang.Object");
        Elements back = (Elements) echoed(new Handle[] {object, null});
        assertTrue(client.test(1, object, back.values.get(0)));
        assertEquals("Ljava/lang/Integer;[5]", echoed(new Integer[] {5}).toString());
        Handle grid = client.callStaticForObject(FIXTURES, "identity", (Object) new int[][] {{}, {}, {}});
        assertEquals(3, client.get(grid, "length"));
        Handle copy = client.callForObject(client.callStaticForObject(FIXTURES, "grid"), "clone");
        assertEquals("[I[[1, 2], [3], null]", client.valueOf(copy).toString());
    }

    @Test
    @DisplayName("that are arrays refuse elements of other types")
    void arrayElements() {
        Refused refused = assertThrows(Refused.class, () -> echoed(
                new Client.Raw(13, 18, 0, 0, 0, 'L', 'j', 'a', 'v', 'a', '/', 'l', 'a', 'n', 'g', '/', 'S', 't',
                        'r', 'i', 'n', 'g', ';', 1, 0, 0, 0, 2)));
        assertEquals("Element 0 is java.lang.Boolean, which an array of java.lang.String cannot hold.",
                refused.getMessage());
        assertEquals(5, refused.kind);
        assertEquals(3, assertThrows(Refused.class,
                () -> echoed(new Client.Raw(13, 1, 0, 0, 0, 'I', 0, 0, 0, 0))).kind);
    }

    @Test
    @DisplayName("that hold themselves end as objects")
    void arraysInThemselves() {
        Object value = client.callStatic(FIXTURES, "holdingItself");
        int depth = 0;
        while (value instanceof Elements) {
            assertEquals("end", ((Elements) value).values.get(1));
            value = ((Elements) value).values.get(0);
            depth++;
        }
        assertEquals(32, depth);
        assertEquals("[Ljava.lang.Object;", client.nameOf((Handle) value));
    }

    @Test
    @DisplayName("that lie deeper than 32 arrays are refused")
    void depth() {
        for (int depth : new int[] {32, 33}) {
            WireWriter wire = new WireWriter(64);
            for (int level = 0; level < depth; level++) {
                wire.u8(13).text("Ljava/lang/Object;").i32(1);
            }
            byte[] bytes = wire.u8(0).toByteArray();
            int[] value = new int[bytes.length];
            Arrays.setAll(value, index -> bytes[index]);
            if (depth == 32) {
                echoed(new Client.Raw(value));
            } else {
                assertTrue(assertThrows(Refused.class, () -> echoed(new Client.Raw(value)))
                        .getMessage().endsWith("arrays lie deeper than 32."));
            }
        }
    }

    @Test
    @DisplayName("announce no more than follows")
    void counts() {
        int[][] bad = {{10, 1, 0, 0, 0}, {10, 255, 255, 255, 255}, {12, 9, 2, 0, 0, 0, 1}, {12, 1, 0, 0, 0, 0},
            {12, 10, 0, 0, 0, 0}, {13, 2, 0, 0, 0, '[', 'I', 255, 255, 255, 127}, {6, 0, 0, 0}, {18}, {15},
            {16}, {255}, {17, 0, 0, 0, 0}, {12, 9, 255, 255, 255, 31, 0, 0, 0, 0}};
        for (int[] value : bad) {
            Refused refused =
                    assertThrows(Refused.class, () -> echoed(new Client.Raw(value)));
            assertEquals(1, refused.kind, refused.getMessage());
            assertTrue(refused.getMessage().startsWith("Malformed data at offset "),
                    refused.getMessage());
        }
        Refused left = assertThrows(Refused.class, () -> echoed(new Client.Raw(0, 0)));
        assertEquals("Malformed data at offset 26: 1 bytes are left over.", left.getMessage());
    }

    @Test
    @DisplayName("name no addresses, unless they come from this process")
    void memory() {
        int[] value = {14, 9, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8};
        Refused refused = assertThrows(Refused.class, () -> echoed(new Client.Raw(value)));
        assertEquals(6, refused.kind);
        assertEquals("Addresses of memory are taken only from this process, with the key that it has"
                + " enabled.", refused.getMessage());
        Arrays.fill(value, 14, 22, 0);
        assertEquals(6, assertThrows(Refused.class, () -> echoed(new Client.Raw(value))).kind);
        Handle array = client.callStaticForObject(FIXTURES, "identity", new double[] {1});
        assertEquals(6, assertThrows(Refused.class, () -> client.ask(wire -> wire.u8(15)
                .i64(array.number).i32(0).i32(1).i64(4096).i64(77))).kind);
    }
}
