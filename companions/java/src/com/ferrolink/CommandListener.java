package com.ferrolink;

import com.ferrolink.core.receiver.Answers;

/**
 * Answers the commands that other runtimes send to this Java program while it is the calling one;
 * registered with {@link Ferrolink#onCommand}.
 *
 * <p>The static methods take a command apart and build a reply:
 *
 * <pre>{@code
 * Ferrolink.onCommand(command -> CommandListener.reply(command, CommandListener.payloadOf(command)));
 * }</pre>
 *
 * <p><b>Threads:</b> the listener is called by any number of threads at once: by the thread whose own
 * command the other runtime is just carrying out, and by threads of the other runtime, which are
 * known to Java only for the time of the call and have an arbitrary context class loader.
 */
@FunctionalInterface
public interface CommandListener {

    /**
     * Answers one command. Heartbeats, and commands without a complete header, are answered without
     * the listener.
     *
     * @param command a header of 11 bytes, of which byte 9 is the calling runtime and byte 10 the
     *     command type, and a body; never null. The array belongs to the listener.
     * @return a reply: a header of 11 bytes, of which byte 10 is 0, or 10 for an exception report, and
     *     a body. It is copied before the caller gets it. Null and less than a header are answered to
     *     the caller as a failure.
     * @throws Exception whatever goes wrong. The caller gets this, like any error, as an exception
     *     report with the classes, messages, causes and frames as text.
     */
    byte[] onCommand(byte[] command) throws Exception;

    /**
     * The name of the handler that a call is for.
     *
     * @param command a command of type 2, or of type 3, which is a call with a time limit
     * @return 1 to 255 bytes when encoded as UTF-8
     * @throws IllegalArgumentException if the command is no call of a handler, or malformed
     */
    static String handlerOf(byte[] command) {
        return Answers.handlerOf(command);
    }

    /**
     * What the caller sent to the handler.
     *
     * @param command a command of type 2 or 3
     * @return an array of its own, possibly empty
     * @throws IllegalArgumentException if the command is no call of a handler, or malformed
     */
    static byte[] payloadOf(byte[] command) {
        return Answers.payloadOf(command);
    }

    /**
     * A successful reply.
     *
     * @param command the command that it answers, of which the calling runtime is read
     * @param body the bytes to reply with, possibly none, not null
     * @return an array of its own
     * @throws IllegalArgumentException if the command has no complete header
     */
    static byte[] reply(byte[] command, byte[] body) {
        return Answers.reply(command, body);
    }
}
