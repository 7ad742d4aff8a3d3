package com.ferrolink;

/**
 * One command and its response. {@link #run} makes all native calls, on one platform thread, since
 * the response waits for the thread that sent the command; {@link #response} belongs to the thread
 * that wants the result, so that exceptions carry its frames.
 */
final class Exchange implements Runnable {

    private final NativeCalls calls;
    private final byte[] command;
    private int length;
    private byte[] response;
    private String error;
    private boolean failed;

    Exchange(NativeCalls calls, byte[] command) {
        this.calls = calls;
        this.command = command;
    }

    @Override
    public void run() {
        length = calls.sendCommand(command);
        if (length < 0) {
            fail();
        } else if (length >= CommandBuilder.HEADER_SIZE) {
            byte[] buffer = new byte[length];
            buffer[CommandBuilder.TARGET_RUNTIME] = command[CommandBuilder.TARGET_RUNTIME];
            if (calls.readResponse(buffer) < 0) {
                fail();
            } else {
                response = buffer;
            }
        }
    }

    /** The whole response, of at least a header's length. Only after {@link #run}. */
    byte[] response() {
        if (failed) {
            throw FerrolinkException.ofNativeText(error);
        }
        if (response == null) {
            throw new FerrolinkException("The runtime answered with " + length + " bytes, less than the"
                    + " header of " + CommandBuilder.HEADER_SIZE + " bytes.", null);
        }
        return response;
    }

    private void fail() {
        failed = true;
        error = calls.getNativeError();
    }
}
