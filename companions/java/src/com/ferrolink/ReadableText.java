package com.ferrolink;

/** Turns error texts of others, which may be empty or unreadable, into messages of exceptions. */
final class ReadableText {

    private static final int LONGEST = 64;

    private ReadableText() {
    }

    /**
     * The text itself if it has a letter or a digit, else a sentence about it.
     *
     * @param who the subject of that sentence
     */
    static String messageOf(String text, String who) {
        if (text.codePoints().anyMatch(Character::isLetterOrDigit)) {
            return text;
        }
        if (text.isEmpty()) {
            return who + " gave no reason.";
        }
        return who + " gave a reason that is not readable: " + escaped(text);
    }

    private static String escaped(String text) {
        StringBuilder escaped = new StringBuilder();
        for (int index = 0; index < Math.min(text.length(), LONGEST); index++) {
            char unit = text.charAt(index);
            escaped.append(unit > ' ' && unit < 0x7F ? unit : String.format("\\u%04X", (int) unit));
        }
        return escaped + (text.length() > LONGEST ? "... (" + text.length() + " characters)" : "");
    }
}
