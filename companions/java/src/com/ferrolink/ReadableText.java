package com.ferrolink;

/** Texts of others as messages of exceptions: some are empty, or bytes that are no text. */
final class ReadableText {

    private static final int LONGEST = 64;

    private ReadableText() {
    }

    /**
     * The text itself where a reader finds a letter or a digit in it.
     *
     * @param who begins the sentence that stands for it otherwise
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
