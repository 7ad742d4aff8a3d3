package com.ferrolink.bench;

/** JNI written by hand for the echo sibling. */
final class HandWritten {

    static {
        System.load(System.getProperty("bench.handWritten"));
        open(System.getProperty("bench.sibling"));
    }

    private HandWritten() {
    }

    private static native void open(String sibling);

    /** The callback that answers in round trips: an object with {@code apply(Object)}. */
    static native void setCallback(Object callback);

    static native int sendCommand(byte[] command);

    static native int readResponse(byte[] buffer);

    /** The answer to the command, with the fewest JNI calls and copies. */
    static native byte[] call(byte[] command);
}
