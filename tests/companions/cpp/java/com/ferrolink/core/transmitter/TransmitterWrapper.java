package com.ferrolink.core.transmitter;

/** The native methods that the tests need. */
public final class TransmitterWrapper {

    static {
        System.load(System.getenv("TEST_JVM_MEMBER"));
    }

    public native int sendCommand(byte[] message);

    public native int readResponse(byte[] buffer);

    public native String getNativeError();
}
