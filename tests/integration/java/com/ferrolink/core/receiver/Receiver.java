package com.ferrolink.core.receiver;

import java.lang.management.ManagementFactory;
import java.util.Arrays;

/**
 * A receiver that does what the first body byte says, and whose exceptions leave it: the native side
 * must survive receivers that do not behave.
 */
public final class Receiver {
    private static final int WORD = 11;

    private Receiver() {
    }

    public static byte[] sendCommand(byte[] command) {
        int word = command.length > WORD ? command[WORD] : 'e';
        switch (word) {
            case 'e':
                return command.clone();
            case 't':
                throw new IllegalStateException("thrown past the receiver: "
                        + new String(command, WORD + 1, command.length - WORD - 1));
            case 'n':
                return null;
            case 'z':
                return new byte[0];
            case 's':
                return recurse(command);
            case 'o':
                return hoard();
            case 'x':
                System.exit(command[WORD + 1]);
                return null;
            case 'c':
                return threadCount();
            default:
                throw new IllegalArgumentException("no such word: " + word);
        }
    }

    public static byte[] heartBeat(byte[] command) {
        return Arrays.copyOfRange(command, 0, WORD);
    }

    public static String getRuntimeInfo() {
        return "Misbehaving test receiver\n";
    }

    private static byte[] recurse(byte[] command) {
        byte[] deeper = recurse(command);
        return deeper.length > 0 ? deeper : command;
    }

    private static byte[] hoard() {
        return new byte[Integer.MAX_VALUE];
    }

    private static byte[] threadCount() {
        int count = ManagementFactory.getThreadMXBean().getThreadCount();
        return new byte[] {(byte) (count >> 8), (byte) count};
    }
}
