package com.ferrolink.bench;

/** Commands of the bench: a header of 11 bytes and a body. */
final class Commands {

    static final int GO = 1;
    static final int CPP = 8;

    /** Values of the byte that selects what the echo sibling does. */
    static final int ANSWER_ITSELF = 0;
    static final int THROUGH_LIBRARY = 2;
    static final int THROUGH_HAND_WRITTEN = 3;

    private static final int CALLING_RUNTIME = 9;
    private static final int COMMAND_TYPE = 10;
    private static final int ROUTE = 11;
    private static final int JVM = 2;
    private static final int CALL = 2;
    private static final byte[] ECHO = {4, 'e', 'c', 'h', 'o'};

    private Commands() {
    }

    static byte[] toSibling(int size, int route) {
        byte[] command = new byte[size];
        for (int i = 0; i < size; i++) {
            command[i] = (byte) i;
        }
        fillHeader(command, GO);
        command[ROUTE] = (byte) route;
        return command;
    }

    /** A command of {@code size} bytes, name included, for the handler "echo" of the C++ member. */
    static byte[] toEchoHandler(int size) {
        byte[] command = new byte[size];
        fillHeader(command, CPP);
        System.arraycopy(ECHO, 0, command, ROUTE, ECHO.length);
        return command;
    }

    /** The number of payload bytes in such a command. */
    static int payloadOf(int size) {
        return size - ROUTE - ECHO.length;
    }

    private static void fillHeader(byte[] command, int target) {
        for (int i = 0; i < ROUTE; i++) {
            command[i] = 0;
        }
        command[0] = (byte) target;
        command[CALLING_RUNTIME] = JVM;
        command[COMMAND_TYPE] = CALL;
    }
}
