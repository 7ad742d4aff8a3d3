package com.ferrolink.core.receiver;

/** Echoes: answers with the received array, or with a clone if the first body byte is 1. */
public final class Receiver {
    private static final int ANSWER = 11;
    private static final byte CLONE = 1;

    private Receiver() {
    }

    public static byte[] sendCommand(byte[] command) {
        return command[ANSWER] == CLONE ? command.clone() : command;
    }

    public static byte[] heartBeat(byte[] command) {
        return command;
    }

    public static String getRuntimeInfo() {
        return "Benchmark receiver\n";
    }
}
