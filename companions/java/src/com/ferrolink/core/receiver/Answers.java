package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;
import java.util.Objects;

/**
 * Parses calls and builds replies, exactly as the {@link Receiver} does. For the use of {@code
 * com.ferrolink}; programs use {@code com.ferrolink.CommandListener}.
 *
 * <p><b>Threads:</b> thread-safe.
 */
public final class Answers {

    static {
        ExceptionReport.prepare();
    }

    private Answers() {
    }

    /**
     * The name of the handler that a command calls.
     *
     * @param command a command of type 2 or 3
     * @return 1 to 255 bytes when encoded as UTF-8
     * @throws IllegalArgumentException if the command calls no handler or is malformed
     */
    public static String handlerOf(byte[] command) {
        return CommandFrame.nameAt(command, nameStart(command));
    }

    /**
     * The payload of a call.
     *
     * @param command a command of type 2 or 3
     * @return an array of its own, possibly empty
     * @throws IllegalArgumentException if the command calls no handler or is malformed
     */
    public static byte[] payloadOf(byte[] command) {
        return CommandFrame.payloadAfter(command, nameStart(command));
    }

    /**
     * A reply of type 0.
     *
     * @param command the command to answer; only its calling runtime is read
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
     * An exception report about a Throwable. Never throws.
     *
     * @param caller the code of the calling runtime
     * @param failure what was thrown, not null
     * @return an array that the caller owns
     */
    public static byte[] failure(byte caller, Throwable failure) {
        return ExceptionReport.reply(caller, failure);
    }

    /**
     * An exception report with this text.
     *
     * @param caller the code of the calling runtime
     * @param text the reason, not null
     * @return an array of its own
     */
    public static byte[] refusal(byte caller, String text) {
        return ReplyFrame.exception(caller, text);
    }

    private static int nameStart(byte[] command) {
        try {
            CommandFrame.requireHeader(command);
            if (!CommandFrame.isCall(command)) {
                throw new IllegalArgumentException("A command of type " + CommandHeader.typeOf(command)
                        + " calls no handler, only types 2 and 3 do.");
            }
            return CommandFrame.nameStart(command);
        } catch (CommandRejectedException rejected) {
            throw new IllegalArgumentException(rejected.getMessage(), rejected);
        }
    }
}
