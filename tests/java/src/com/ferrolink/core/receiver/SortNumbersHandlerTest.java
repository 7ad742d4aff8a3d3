package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.ByteBuffer;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("The example's handler sort-numbers")
final class SortNumbersHandlerTest {

    private CommandDispatcher dispatcher;

    @BeforeEach
    void loadExample() {
        dispatcher = new CommandDispatcher(getClass().getClassLoader());
        dispatcher.answer(Commands.call("load-archives", System.getProperty("ferrolink.example")));
    }

    private byte[] sort(byte[] payload) {
        return dispatcher.answer(Commands.call("sort-numbers", payload));
    }

    private static byte[] bytesOf(long... numbers) {
        ByteBuffer bytes = ByteBuffer.allocate(numbers.length * Long.BYTES);
        bytes.asLongBuffer().put(numbers);
        return bytes.array();
    }

    @Test
    @DisplayName("sorts numbers of 64 bits")
    void sorts() {
        assertArrayEquals(bytesOf(Long.MIN_VALUE, -1, 0, 3, 3, Long.MAX_VALUE),
                Replies.successBody(sort(bytesOf(3, Long.MAX_VALUE, -1, 3, Long.MIN_VALUE, 0))));
    }

    @Test
    @DisplayName("answers nothing with nothing")
    void nothing() {
        assertArrayEquals(new byte[0], Replies.successBody(sort(new byte[0])));
    }

    @Test
    @DisplayName("refuses bytes that are no whole numbers")
    void halfNumber() {
        String text = Replies.exceptionText(sort(new byte[12]));
        assertTrue(text.startsWith("java.lang.IllegalArgumentException: Numbers have 8 bytes each, and 12"
                + " bytes came.\n"), text);
    }
}
