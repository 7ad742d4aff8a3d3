package com.ferrolink.soak;

import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.Collectors;

/** Counts the commands and errors of a soak, like Tally.h in C++. Thread-safe. */
final class Tally {

    private static final int TEXTS_KEPT = 10;
    private static final int LONGEST_TEXT = 500;

    private final Map<String, Long> commands = new TreeMap<>();
    private final Map<String, Long> errors = new TreeMap<>();
    private final List<String> texts = new ArrayList<>();
    private long wrong;

    synchronized void command(String kind) {
        commands.merge(kind, 1L, Long::sum);
    }

    synchronized void expectedError(String kind) {
        errors.merge(kind, 1L, Long::sum);
    }

    synchronized void wrong(String what) {
        wrong++;
        if (texts.size() < TEXTS_KEPT) {
            texts.add(what);
        }
    }

    /** The counts as members of a JSON object, without braces. */
    synchronized String json() {
        return "\"commands\":" + object(commands) + ",\"errors\":" + object(errors) + ",\"wrong\":"
                + wrong + ",\"texts\":"
                + texts.stream().map(Tally::quoted).collect(Collectors.joining(",", "[", "]"));
    }

    private static String object(Map<String, Long> counts) {
        return counts.entrySet().stream().map(entry -> quoted(entry.getKey()) + ":" + entry.getValue())
                .collect(Collectors.joining(",", "{", "}"));
    }

    private static String quoted(String text) {
        String cut = text.substring(0, Math.min(text.length(), LONGEST_TEXT));
        return '"' + cut.replaceAll("[^ -~]|[\"\\\\]", " ") + '"';
    }
}
