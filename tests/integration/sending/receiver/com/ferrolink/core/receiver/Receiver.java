package com.ferrolink.core.receiver;

import com.ferrolink.test.Sender;
import java.nio.charset.StandardCharsets;

/** A receiver whose class initialiser sends a command; each answer is what became of that one. */
public final class Receiver {
    private static final String SENT = Sender.echo("from the initialiser");

    private Receiver() {
    }

    public static byte[] sendCommand(byte[] command) {
        return SENT.getBytes(StandardCharsets.UTF_8);
    }

    public static byte[] heartBeat(byte[] command) {
        return command.clone();
    }

    public static String getRuntimeInfo() {
        return "Receiver that sends early\n";
    }
}
