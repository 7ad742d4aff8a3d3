package com.ferrolink.bench;

/** JNI as one would write it by hand for the echo sibling. */
final class HandWritten {

    static {
        System.load(System.getProperty("bench.handWritten"));
        open(System.getProperty("bench.sibling"));
    }

    private HandWritten() {
    }

    private static native void open(String sibling);

    /** What the sibling's answers of round trips come from: an object with {@code apply(Object)}. */
    static native void setCallback(Object callback);

    static native int sendCommand(byte[] command);

    static native int readResponse(byte[] buffer);

    /** The answer to the command, by the least number of JNI calls and copies. */
    static native byte[] call(byte[] command);
}
