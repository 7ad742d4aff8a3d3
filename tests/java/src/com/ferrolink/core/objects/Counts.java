package com.ferrolink.core.objects;

/** Numbers of repetitions in tests. */
final class Counts {

    private Counts() {
    }

    /** The positive number in an environment variable, if it is set. */
    static int of(String variable, int otherwise) {
        String text = System.getenv(variable);
        int count = text == null ? otherwise : Integer.parseInt(text);
        if (count <= 0) {
            throw new IllegalArgumentException(variable + " is " + text);
        }
        return count;
    }
}
