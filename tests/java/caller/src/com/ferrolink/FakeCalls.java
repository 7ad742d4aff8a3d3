package com.ferrolink;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.function.UnaryOperator;

/**
 * A fake native library. Each response waits for the thread that sent the command, as in the real
 * library. Records the calls and their threads. A null response is a failed command.
 */
final class FakeCalls implements NativeCalls {

    static final int SEND_FAILED = -2;
    static final int READ_FAILED = -3;

    final List<byte[]> sent = Collections.synchronizedList(new ArrayList<>());
    final List<byte[]> buffers = Collections.synchronizedList(new ArrayList<>());
    final List<Thread> threads = Collections.synchronizedList(new ArrayList<>());
    final List<Object> callbacks = Collections.synchronizedList(new ArrayList<>());
    volatile UnaryOperator<byte[]> responder = command -> Responses.of(0);
    volatile Runnable beforeCallback = () -> { };
    volatile boolean readFails;
    volatile String error = "Undefined error";

    private final ThreadLocal<byte[]> waiting = new ThreadLocal<>();

    @Override
    public int sendCommand(byte[] command) {
        threads.add(Thread.currentThread());
        sent.add(command.clone());
        byte[] response = responder.apply(command);
        waiting.set(response);
        return response == null ? SEND_FAILED : response.length;
    }

    @Override
    public int readResponse(byte[] buffer) {
        threads.add(Thread.currentThread());
        buffers.add(buffer.clone());
        byte[] response = waiting.get();
        waiting.remove();
        if (readFails || response == null) {
            return READ_FAILED;
        }
        System.arraycopy(response, 0, buffer, 0, Math.min(response.length, buffer.length));
        return 0;
    }

    @Override
    public String getNativeError() {
        threads.add(Thread.currentThread());
        return error;
    }

    @Override
    public void setCallback(Object callback) {
        beforeCallback.run();
        callbacks.add(callback);
    }

    byte[] onlyCommand() {
        if (sent.size() != 1) {
            throw new AssertionError(sent.size() + " commands instead of one");
        }
        return sent.get(0);
    }

    /** The bytes behind the handler's name in a command of type 2. */
    static byte[] payloadOf(byte[] command) {
        return Arrays.copyOfRange(command, 12 + (command[11] & 0xFF), command.length);
    }
}
