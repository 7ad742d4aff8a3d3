package com.ferrolink;

import com.ferrolink.core.protocol.CommandHeader;
import java.util.concurrent.atomic.AtomicReference;

/**
 * One command and its response. {@link #run} makes all native calls on one platform thread: a response
 * waits for the thread that sent the command. {@link #response} is called by the thread that wants the
 * result, so that exceptions have its frames.
 *
 * <p>With a deadline the two may be different threads. If the thread that wants the result gives up, the
 * other one sends nothing, or drops the response.
 */
final class Exchange implements Runnable {

    private enum State { WAITING, SENT, GIVEN_UP }

    private final NativeCalls calls;
    private final byte[] command;
    /** Null if there is none. */
    private final Deadline deadline;
    private final AtomicReference<State> state = new AtomicReference<>(State.WAITING);

    private int length;
    private byte[] response;
    private FerrolinkException.NativeText error;

    Exchange(NativeCalls calls, byte[] command, Deadline deadline) {
        this.calls = calls;
        this.command = command;
        this.deadline = deadline;
    }

    @Override
    public void run() {
        if (deadline != null && !(isInTime() && state.compareAndSet(State.WAITING, State.SENT))) {
            return;
        }
        length = calls.sendCommand(command);
        if (length < 0) {
            error = new FerrolinkException.NativeText(calls.getNativeError(), false);
        } else if (length >= CommandHeader.SIZE) {
            byte[] buffer = new byte[length];
            buffer[CommandHeader.TARGET_RUNTIME] = command[CommandHeader.TARGET_RUNTIME];
            if (calls.readResponse(buffer) < 0) {
                error = new FerrolinkException.NativeText(calls.getNativeError(), true);
            } else {
                response = buffer;
            }
        }
    }

    /**
     * Sends a command without a deadline on this thread, and reads its response into the buffers.
     *
     * @return the length of the response, at least a header
     */
    static int run(NativeCalls calls, byte[] command, CallBuffers buffers) {
        byte target = command[CommandHeader.TARGET_RUNTIME];
        int length = calls.sendCommand(command);
        if (length < 0) {
            throw new FerrolinkException.NativeText(calls.getNativeError(), false).toException();
        }
        if (length < CommandHeader.SIZE) {
            throw tooShort(length);
        }
        byte[] buffer = buffers.response(length);
        buffer[CommandHeader.TARGET_RUNTIME] = target;
        if (calls.readResponse(buffer) < 0) {
            throw new FerrolinkException.NativeText(calls.getNativeError(), true).toException();
        }
        return length;
    }

    /** The same for a virtual thread. */
    static int runInPool(PlatformThreads threads, NativeCalls calls, byte[] command, CallBuffers buffers) {
        Exchange exchange = new Exchange(calls, command, null);
        threads.runInPool(exchange);
        return buffers.adopt(exchange.response());
    }

    private static FerrolinkException tooShort(int length) {
        return new FerrolinkException("The runtime answered with " + length + " bytes, less than the"
                + " header of " + CommandHeader.SIZE + " bytes.", null, true);
    }

    /** The whole response, at least a header. To be called after {@link #run}. */
    byte[] response() {
        if (deadline != null && state.get() != State.SENT) {
            throw giveUp();
        }
        if (error != null) {
            throw error.toException();
        }
        if (response == null) {
            throw tooShort(length);
        }
        return response;
    }

    /** Keeps {@link #run} from sending, if it has not sent yet. To be called only with a deadline. */
    DeadlineExceededException giveUp() {
        state.compareAndSet(State.WAITING, State.GIVEN_UP);
        return DeadlineExceededException.of(deadline, state.get() == State.SENT);
    }

    private boolean isInTime() {
        long left = deadline.millisecondsLeft();
        if (left == 0) {
            return false;
        }
        if (CommandHeader.typeOf(command) == CommandHeader.TYPE_CALL_WITHIN) {
            CommandBuilder.setTimeLeft(command, left);
        }
        return true;
    }
}
