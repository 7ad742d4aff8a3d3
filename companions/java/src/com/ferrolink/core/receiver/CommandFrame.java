package com.ferrolink.core.receiver;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/**
 * The layout of commands: a header of 11 bytes, of which the receiver reads the calling runtime and
 * the command type, and a body. All methods but {@link #callerOf} and {@link #requireHeader} expect a
 * complete header.
 *
 * <p>The body of a call is the length of the handler's name, the name, and the payload. In front of them
 * a call with a time limit has the milliseconds that are left, four bytes, the highest first. They are
 * for those who wait and for networks; here such a call is one like any other.
 */
final class CommandFrame {

    static final int HEADER_SIZE = 11;
    static final int CALLING_RUNTIME = 9;
    static final int COMMAND_TYPE = 10;

    static final int TYPE_LOAD_LIBRARY = 1;
    static final int TYPE_CALL_HANDLER = 2;
    static final int TYPE_CALL_WITHIN = 3;
    static final int TYPE_HEART_BEAT = 11;

    /** The longest handler name, in bytes: its length is sent as one unsigned byte. */
    static final int MAXIMUM_NAME_SIZE = 255;

    private static final int TIME_LEFT_SIZE = 4;
    private static final int LIBRARY_PATH = 24;

    private CommandFrame() {
    }

    /** The runtime to address the reply to; 0 for a command that is too short to name it. */
    static byte callerOf(byte[] command) {
        return command == null || command.length < HEADER_SIZE ? 0 : command[CALLING_RUNTIME];
    }

    static void requireHeader(byte[] command) throws CommandRejectedException {
        if (command == null) {
            throw new CommandRejectedException("Malformed command: null instead of bytes.");
        }
        if (command.length < HEADER_SIZE) {
            throw new CommandRejectedException("Malformed command: " + command.length
                    + " bytes, shorter than the header of " + HEADER_SIZE + " bytes.");
        }
    }

    static int typeOf(byte[] command) {
        return command[COMMAND_TYPE] & 0xFF;
    }

    /** Whether the command calls a handler, with a time limit or without one. */
    static boolean isCall(byte[] command) {
        int type = typeOf(command);
        return type == TYPE_CALL_HANDLER || type == TYPE_CALL_WITHIN;
    }

    /** The name of the handler that a call is for. Refuses bodies that {@link #payloadOf} cannot split. */
    static String handlerNameOf(byte[] command) throws CommandRejectedException {
        int length = nameLengthOffset(command);
        if (command.length <= length) {
            throw new CommandRejectedException(typeOf(command) == TYPE_CALL_WITHIN
                    ? "Malformed command: a call with a time limit begins with four bytes of"
                            + " milliseconds, and the length and the name of a handler; "
                            + (command.length - HEADER_SIZE) + " bytes follow the header."
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
        return new String(command, name, size, StandardCharsets.UTF_8);
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

    /** What follows the handler's name, as an array of its own. */
    static byte[] payloadOf(byte[] command) {
        return Arrays.copyOfRange(command, payloadStart(command), command.length);
    }

    /** Where that begins. */
    static int payloadStart(byte[] command) {
        int length = nameLengthOffset(command);
        return length + 1 + (command[length] & 0xFF);
    }

    private static int nameLengthOffset(byte[] command) {
        return typeOf(command) == TYPE_CALL_WITHIN ? HEADER_SIZE + TIME_LEFT_SIZE : HEADER_SIZE;
    }

    /** The path that a load-library command names: it ends at the first zero byte or with the command. */
    static String libraryPathOf(byte[] command) throws CommandRejectedException {
        if (command.length <= LIBRARY_PATH) {
            throw new CommandRejectedException("Malformed command: a load-library command of "
                    + command.length + " bytes, at least " + (LIBRARY_PATH + 1) + " are needed.");
        }
        int end = LIBRARY_PATH;
        while (end < command.length && command[end] != 0) {
            end++;
        }
        return new String(command, LIBRARY_PATH, end - LIBRARY_PATH, StandardCharsets.UTF_8);
    }
}
