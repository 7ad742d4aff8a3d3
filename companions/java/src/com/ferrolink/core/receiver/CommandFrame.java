package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/**
 * Takes commands apart. All methods but {@link #callerOf} and {@link #requireHeader} expect a complete
 * header.
 *
 * <p>The time limit of a call is ignored: it is for the caller who waits and for networks.
 */
final class CommandFrame {

    private CommandFrame() {
    }

    /** The runtime to address the reply to; 0 for a command that is too short to name it. */
    static byte callerOf(byte[] command) {
        return command == null || command.length < CommandHeader.SIZE ? 0
                : command[CommandHeader.CALLING_RUNTIME];
    }

    static void requireHeader(byte[] command) throws CommandRejectedException {
        if (command == null) {
            throw new CommandRejectedException("Malformed command: null instead of bytes.");
        }
        if (command.length < CommandHeader.SIZE) {
            throw new CommandRejectedException("Malformed command: " + command.length
                    + " bytes, shorter than the header of " + CommandHeader.SIZE + " bytes.");
        }
    }

    /** Whether the command calls a handler, with a time limit or without one. */
    static boolean isCall(byte[] command) {
        int type = CommandHeader.typeOf(command);
        return type == CommandHeader.TYPE_CALL_HANDLER || type == CommandHeader.TYPE_CALL_WITHIN;
    }

    /**
     * Where a call has the name of its handler. Refuses bodies that have none. The byte before is the
     * length of the name.
     */
    static int nameStart(byte[] command) throws CommandRejectedException {
        int length = nameLengthOffset(command);
        if (command.length <= length) {
            throw new CommandRejectedException(isWithin(command)
                    ? "Malformed command: a call with a time limit begins with four bytes of"
                            + " milliseconds, and the length and the name of a handler; "
                            + (command.length - CommandHeader.SIZE) + " bytes follow the header."
                    : "Malformed command: the body is empty, it must begin with the length and the name"
                            + " of a handler.");
        }
        int name = length + 1;
        int size = command[length] & 0xFF;
        if (size == 0) {
            throw new CommandRejectedException("Malformed command: the handler's name is empty.");
        }
        if (command.length - name < size) {
            throw new CommandRejectedException("Malformed command: a handler's name of " + size
                    + " bytes is announced, " + (command.length - name) + " bytes follow.");
        }
        return name;
    }

    /** Whether a call is for the handler of this name. */
    static boolean isCallOf(byte[] command, byte[] name) {
        int length = nameLengthOffset(command);
        if (command.length - length <= name.length || command[length] != name.length) {
            return false;
        }
        for (int index = 0; index < name.length; index++) {
            if (command[length + 1 + index] != name[index]) {
                return false;
            }
        }
        return true;
    }

    /** The number of bytes in the name that begins there. */
    static int nameSize(byte[] command, int nameStart) {
        return command[nameStart - 1] & 0xFF;
    }

    /** The name that begins there. */
    static String nameAt(byte[] command, int nameStart) {
        return new String(command, nameStart, nameSize(command, nameStart), StandardCharsets.UTF_8);
    }

    /** What follows the name that begins there, as an array of its own. */
    static byte[] payloadAfter(byte[] command, int nameStart) {
        return Arrays.copyOfRange(command, nameStart + nameSize(command, nameStart), command.length);
    }

    /** Where the payload of a complete call begins. */
    static int payloadStart(byte[] command) {
        int length = nameLengthOffset(command);
        return length + 1 + (command[length] & 0xFF);
    }

    private static int nameLengthOffset(byte[] command) {
        return isWithin(command) ? CommandHeader.NAME_LENGTH_WITHIN : CommandHeader.NAME_LENGTH;
    }

    private static boolean isWithin(byte[] command) {
        return CommandHeader.typeOf(command) == CommandHeader.TYPE_CALL_WITHIN;
    }

    /** The path that a load-library command names: it ends at the first zero byte or with the command. */
    static String libraryPathOf(byte[] command) throws CommandRejectedException {
        if (command.length <= CommandHeader.LIBRARY_PATH) {
            throw new CommandRejectedException("Malformed command: a load-library command of "
                    + command.length + " bytes, at least " + (CommandHeader.LIBRARY_PATH + 1)
                    + " are needed.");
        }
        int end = CommandHeader.LIBRARY_PATH;
        while (end < command.length && command[end] != 0) {
            end++;
        }
        return new String(command, CommandHeader.LIBRARY_PATH, end - CommandHeader.LIBRARY_PATH,
                StandardCharsets.UTF_8);
    }
}
