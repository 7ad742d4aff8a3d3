package com.example.handlers;

import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;

/** Counts the lines, words and bytes of a text in UTF-8 and replies with a readable line. */
public final class WordCountHandler implements CommandHandler {

    @Override
    public String name() {
        return "word-count";
    }

    @Override
    public byte[] handle(byte[] payload) {
        String text = new String(payload, StandardCharsets.UTF_8);
        String reply = "lines: " + countLines(text) + ", words: " + countWords(text)
                + ", bytes: " + payload.length;
        return reply.getBytes(StandardCharsets.UTF_8);
    }

    /** Text after the last line feed is a line, too. */
    private static long countLines(String text) {
        long lineFeeds = text.chars().filter(letter -> letter == '\n').count();
        return text.isEmpty() || text.endsWith("\n") ? lineFeeds : lineFeeds + 1;
    }

    private static int countWords(String text) {
        int words = 0;
        boolean inWord = false;
        for (int index = 0; index < text.length(); index++) {
            boolean space = Character.isWhitespace(text.charAt(index));
            if (!space && !inWord) {
                words++;
            }
            inWord = !space;
        }
        return words;
    }
}
