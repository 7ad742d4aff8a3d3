package com.ferrolink;

import com.ferrolink.core.receiver.Answers;

/**
 * Answers commands that other runtimes send to this Java program. Registered with {@link
 * Ferrolink#onCommand}.
 *
 * <p>The static methods parse a command and build a reply:
 *
 * <pre>{@code
 * Ferrolink.onCommand(command -> CommandListener.reply(command, CommandListener.payloadOf(command)));
 * }</pre>
 *
 * <p><b>Threads:</b> a listener must be thread-safe. It is called on the thread whose own command the
 * other runtime is executing, and on threads of the other runtime. Those are attached to Java for one
 * call only, and their context class loader is unspecified.
 */
@FunctionalInterface
public interface CommandListener {

    /**
     * Answers one command. The library itself answers heartbeats and commands without a complete
     * header.
     *
     * @param command a header of 11 bytes and a body, never null. Byte 9 is the calling runtime, byte
     *     10 the command type. The listener owns the array.
     * @return a reply: a header of 11 bytes and a body. Byte 10 is 0, or 10 for an exception report.
     *     The library copies it. If it is null or shorter than a header, the caller gets a failure.
     * @throws Exception any failure. The caller gets an exception report with classes, messages,
     *     causes and frames. Errors are reported in the same way.
     */
    byte[] onCommand(byte[] command) throws Exception;

    /**
     * The name of the handler that a command calls.
     *
     * @param command a command of type 2 (a call) or 3 (a call with a time limit)
     * @return 1 to 255 bytes when encoded as UTF-8
     * @throws IllegalArgumentException if the command calls no handler or is malformed
     */
    static String handlerOf(byte[] command) {
        return Answers.handlerOf(command);
    }

    /**
     * The payload of a call.
     *
     * @param command a command of type 2 or 3
     * @return an array of its own, possibly empty
     * @throws IllegalArgumentException if the command calls no handler or is malformed
     */
    static byte[] payloadOf(byte[] command) {
        return Answers.payloadOf(command);
    }

    /**
     * A successful reply.
     *
     * @param command the command to answer; only its calling runtime is read
     * @param body the bytes to reply with, possibly none, not null
     * @return an array of its own
     * @throws IllegalArgumentException if the command has no complete header
     */
    static byte[] reply(byte[] command, byte[] body) {
        return Answers.reply(command, body);
    }
}
