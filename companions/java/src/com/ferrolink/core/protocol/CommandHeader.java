package com.ferrolink.core.protocol;

/**
 * The layout of commands and replies, and their types: a header of {@link #SIZE} bytes and a body. The
 * native libraries have the same constants under the same names in {@code
 * native/interfaces/CommandHeader.h}; a test compares the two.
 *
 * <p>Offsets count from the first byte of the command. All numbers of one byte are unsigned.
 */
public final class CommandHeader {

    /** Offset of the runtime that executes the command; in a reply, of the one that gets it. */
    public static final int TARGET_RUNTIME = 0;

    /** Offset of a byte that the target's launcher gets. */
    public static final int LAUNCH_ARGUMENT = 1;

    /** Offset of the channel, one of the {@code CHANNEL_} constants. */
    public static final int CHANNEL_TYPE = 2;

    /** Offset of the four octets of an IPv4 address, in written order. */
    public static final int ADDRESS = 3;

    /** Offset of the port: two bytes, the low one first. */
    public static final int PORT = 7;

    /** Offset of the runtime that sends the command; in a reply, of the one that answers. */
    public static final int CALLING_RUNTIME = 9;

    /** Offset of the type, one of the {@code TYPE_} constants. */
    public static final int COMMAND_TYPE = 10;

    /** The number of bytes in a header. The body begins at this offset. */
    public static final int SIZE = 11;

    /** Channel to a runtime in this process. Address and port are zero. */
    public static final int CHANNEL_IN_MEMORY = 0;

    /** Channel over TCP, unencrypted. */
    public static final int CHANNEL_TCP = 1;

    /** Channel over TCP, encrypted with TLS. */
    public static final int CHANNEL_TLS = 2;

    /** Reply: the command succeeded. The body is the result. */
    public static final int TYPE_ANSWER = 0;

    /** Command: load a library. The body has the path at {@link #LIBRARY_PATH}. */
    public static final int TYPE_LOAD_LIBRARY = 1;

    /** Command: call a handler. The body is the length of its name, the name, and the payload. */
    public static final int TYPE_CALL_HANDLER = 2;

    /** Command: call a handler within a time. The body is a time limit, and the body of a call. */
    public static final int TYPE_CALL_WITHIN = 3;

    /** Reply: the command failed. The body is a text in UTF-8. */
    public static final int TYPE_EXCEPTION_REPORT = 10;

    /** Command: give a sign of life. The reply has the same body. */
    public static final int TYPE_HEART_BEAT = 11;

    /** Offset of the path in a load-library command. The bytes between header and path are zero. */
    public static final int LIBRARY_PATH = 24;

    /** Offset of the time limit: milliseconds that are left, the high byte first. */
    public static final int TIME_LIMIT = 11;

    /** The number of bytes in a time limit. */
    public static final int TIME_LIMIT_SIZE = 4;

    /** Offset of the length of the handler's name in a call: one byte. */
    public static final int NAME_LENGTH = 11;

    /** Offset of the length of the handler's name in a call with a time limit: one byte. */
    public static final int NAME_LENGTH_WITHIN = 15;

    /** The longest name of a handler, in bytes. The shortest one has one byte. */
    public static final int LONGEST_NAME = 255;

    private CommandHeader() {
    }

    /**
     * The type of a command or reply.
     *
     * @param command a complete header, and any body
     * @return 0 to 255
     */
    public static int typeOf(byte[] command) {
        return command[COMMAND_TYPE] & 0xFF;
    }

    /**
     * A command or reply of which address, port and body are zero.
     *
     * @param target the code of the runtime that gets it
     * @param calling the code of the runtime that sends it
     * @param type its type
     * @param size the number of bytes in header and body
     * @return an array of its own
     */
    public static byte[] allocate(int target, int calling, int type, int size) {
        byte[] command = new byte[size];
        put(command, target, calling, type);
        return command;
    }

    /**
     * Puts a header into a command or reply. Changes neither channel nor address and port, which are zero in
     * a new array.
     *
     * @param command at least {@link #SIZE} bytes
     * @param target the code of the runtime that gets it
     * @param calling the code of the runtime that sends it
     * @param type its type
     */
    public static void put(byte[] command, int target, int calling, int type) {
        command[TARGET_RUNTIME] = (byte) target;
        command[CALLING_RUNTIME] = (byte) calling;
        command[COMMAND_TYPE] = (byte) type;
    }

    /**
     * The answer to a load-library command, the same for every caller.
     *
     * @param runtime the code of the runtime that answers
     * @return an array of its own
     */
    public static byte[] libraryLoaded(int runtime) {
        byte[] reply = allocate(runtime, runtime, TYPE_ANSWER, SIZE + 6);
        reply[SIZE] = 2;
        reply[SIZE + 1] = 4;
        return reply;
    }
}
