package com.ferrolink;

import com.ferrolink.core.transmitter.NativeLibrary;
import com.ferrolink.core.transmitter.TransmitterWrapper;

/** The native library of the installation. */
final class JniCalls implements NativeCalls {

    private static final NativeCalls INSTANCE = new JniCalls();

    private JniCalls() {
    }

    /**
     * Loads the library, if it is not loaded yet.
     *
     * @throws FerrolinkException if it cannot be loaded; the next call tries again
     */
    static NativeCalls load() {
        try {
            NativeLibrary.load();
        } catch (UnsatisfiedLinkError failure) {
            throw new FerrolinkException(failure.getMessage(), failure, false);
        }
        return INSTANCE;
    }

    @Override
    public int sendCommand(byte[] command) {
        return TransmitterWrapper.sendCommand(command);
    }

    @Override
    public int readResponse(byte[] buffer) {
        return TransmitterWrapper.readResponse(buffer);
    }

    @Override
    public String getNativeError() {
        return TransmitterWrapper.getNativeError();
    }

    @Override
    public void setCallback(Object callback) {
        TransmitterWrapper.setCallback(callback);
    }
}
