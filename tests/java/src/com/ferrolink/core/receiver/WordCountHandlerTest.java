package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertEquals;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

@DisplayName("The example's archive")
final class WordCountHandlerTest {

    private CommandDispatcher dispatcher;
    private String loaded;

    @BeforeEach
    void loadExample() {
        dispatcher = new CommandDispatcher(getClass().getClassLoader());
        loaded = Replies.successText(dispatcher.answer(
                Commands.call("load-archives", System.getProperty("ferrolink.example"))));
    }

    @Test
    @DisplayName("brings the handlers word-count and sort-numbers")
    void name() {
        assertEquals("word-count\nsort-numbers\n", loaded);
    }

    @ParameterizedTest
    @CsvSource({
        "'', 0, 0, 0",
        "one, 1, 1, 3",
        "'one two\n', 1, 2, 8",
        "'one\ntwo three', 2, 3, 13",
        "'\n \n', 2, 0, 3",
        "'  größer\tals\u2003eins  ', 1, 3, 23",
    })
    @DisplayName("counts lines, words and bytes")
    void counts(String text, int lines, int words, int bytes) {
        assertEquals("lines: " + lines + ", words: " + words + ", bytes: " + bytes,
                Replies.successText(dispatcher.answer(Commands.call("word-count", text))));
    }
}
