package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;
import java.util.Objects;

/**
 * What answers commands outside this package: the layout of calls and replies, and the text of
 * failures, the same as the {@link Receiver} has. For the use of {@code com.ferrolink}; programs use
 * {@code com.ferrolink.CommandListener}.
 *
 * <p><b>Threads:</b> every method may be called by any number of threads at once.
 */
public final class Answers {

    static {
        ExceptionReport.prepare();
    }

    private Answers() {
    }

    /**
     * The name of the handler that a call is for.
     *
     * @param command a command of type 2 or 3
     * @return 1 to 255 bytes when encoded as UTF-8
     * @throws IllegalArgumentException if the command is no call of a handler, or malformed
     */
    public static String handlerOf(byte[] command) {
        try {
            CommandFrame.requireHeader(command);
            if (!CommandFrame.isCall(command)) {
                throw new IllegalArgumentException("A command of type " + CommandHeader.typeOf(command)
                        + " calls no handler, only types 2 and 3 do.");
            }
            return CommandFrame.handlerNameOf(command);
        } catch (CommandRejectedException rejected) {
            throw new IllegalArgumentException(rejected.getMessage(), rejected);
        }
    }

    /**
     * What the caller sent to the handler.
     *
     * @param command a command of type 2 or 3
     * @return an array of its own, possibly empty
     * @throws IllegalArgumentException if the command is no call of a handler, or malformed
     */
    public static byte[] payloadOf(byte[] command) {
        handlerOf(command);
        return CommandFrame.payloadOf(command);
    }

    /**
     * A reply of type 0.
     *
     * @param command the command that it answers
     * @param body the bytes to reply with, not null
     * @return an array of its own
     * @throws IllegalArgumentException if the command has no complete header
     */
    public static byte[] reply(byte[] command, byte[] body) {
        Objects.requireNonNull(body, "body");
        try {
            CommandFrame.requireHeader(command);
        } catch (CommandRejectedException rejected) {
            throw new IllegalArgumentException(rejected.getMessage(), rejected);
        }
        return ReplyFrame.success(CommandFrame.callerOf(command), body);
    }

    /**
     * An exception report about whatever a command ended with. Never throws.
     *
     * @param caller the code of the calling runtime
     * @param failure what was thrown, not null
     * @return an array that belongs to the caller
     */
    public static byte[] failure(byte caller, Throwable failure) {
        return ExceptionReport.reply(caller, failure);
    }

    /**
     * An exception report that is nothing but this text.
     *
     * @param caller the code of the calling runtime
     * @param text the reason, not null
     * @return an array of its own
     */
    public static byte[] refusal(byte caller, String text) {
        return ReplyFrame.exception(caller, text);
    }
}
