package com.ferrolink;

/**
 * The native operations that this package uses. Implemented by {@link JniCalls}; tests put a double
 * in its place. Every command given to it has a header.
 */
interface NativeCalls {

    /** The length of the response that now waits for this thread; negative for a failure. */
    int sendCommand(byte[] command);

    /** Fills the buffer, whose first byte names the target runtime; negative for a failure. */
    int readResponse(byte[] buffer);

    /** The text of this thread's last failure, to be asked for once, right after it. */
    String getNativeError();

    /** Registers what answers commands from other runtimes; null for nothing. */
    void setCallback(Object callback);
}
