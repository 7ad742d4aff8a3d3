package com.ferrolink;

/**
 * The native operations that this package uses. {@link JniCalls} implements it; tests use a fake.
 * Commands have a complete header.
 */
interface NativeCalls {

    /** Returns the length of the response, which waits for this thread; negative after a failure. */
    int sendCommand(byte[] command);

    /** Fills the buffer, whose first byte must be the target runtime; negative after a failure. */
    int readResponse(byte[] buffer);

    /** The text of this thread's last failure. To be called once, right after the failure. */
    String getNativeError();

    /** Registers the object that answers commands of other runtimes; null unregisters. */
    void setCallback(Object callback);
}
