package com.example.sentences;

import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;
import java.text.BreakIterator;
import java.util.Locale;

/**
 * Finds the sentences of a text in UTF-8, asks C++ for the fingerprint of each, and replies with a
 * line for each: its fingerprint, the number of its words, and how it begins.
 */
public final class SentenceHandler implements CommandHandler {

    private static final int BEGINNING = 40;

    @Override
    public String name() {
        return "sentences";
    }

    @Override
    public byte[] handle(byte[] payload) {
        String text = new String(payload, StandardCharsets.UTF_8);
        StringBuilder lines = new StringBuilder();
        try (Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP)) {
            BreakIterator breaks = BreakIterator.getSentenceInstance(Locale.ENGLISH);
            breaks.setText(text);
            int start = breaks.first();
            for (int end = breaks.next(); end != BreakIterator.DONE; end = breaks.next()) {
                lines.append(describe(cpp, text.substring(start, end))).append('\n');
                start = end;
            }
        }
        return lines.toString().getBytes(StandardCharsets.UTF_8);
    }

    private static String describe(Ferrolink cpp, String sentence) {
        byte[] fingerprint = cpp.call("fingerprint", sentence.getBytes(StandardCharsets.UTF_8));
        String oneLine = sentence.trim().replaceAll("\\s+", " ");
        String beginning = oneLine.length() <= BEGINNING ? oneLine
                : oneLine.substring(0, oneLine.lastIndexOf(' ', BEGINNING) + 1) + "...";
        return String.format(Locale.ROOT, "%s %3d words: %s",
                new String(fingerprint, StandardCharsets.US_ASCII), oneLine.split(" ").length, beginning);
    }
}
