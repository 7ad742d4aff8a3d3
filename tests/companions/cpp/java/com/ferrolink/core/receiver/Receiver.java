package com.ferrolink.core.receiver;

import com.ferrolink.core.transmitter.TransmitterWrapper;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/**
 * A Java side that calls C++ handlers. "down" with a depth above 0 calls the C++ handler "down". "relay"
 * sends its payload as a whole command and answers the whole reply.
 */
public final class Receiver {

    private static final byte CPP = 8;
    private static final byte JVM = 2;
    private static final TransmitterWrapper TRANSMITTER = new TransmitterWrapper();

    private Receiver() {
    }

    public static byte[] sendCommand(byte[] command) {
        int nameEnd = 12 + command[11];
        String name = new String(command, 12, command[11], StandardCharsets.UTF_8);
        byte[] payload = Arrays.copyOfRange(command, nameEnd, command.length);
        return reply(command[9], "relay".equals(name) ? exchange(payload) : down(payload));
    }

    public static byte[] heartBeat(byte[] command) {
        return reply(command[9], Arrays.copyOfRange(command, 11, command.length));
    }

    public static String getRuntimeInfo() {
        return "";
    }

    private static byte[] down(byte[] payload) {
        if (payload[0] == 0) {
            return payload;
        }
        byte[] command = {CPP, 0, 0, 0, 0, 0, 0, 0, 0, JVM, 2, 4, 'd', 'o', 'w', 'n',
            (byte) (payload[0] - 1)};
        byte[] inner = exchange(command);
        byte[] result = Arrays.copyOfRange(inner, 11, inner.length + 1);
        result[result.length - 1] = 'J';
        return result;
    }

    private static byte[] exchange(byte[] command) {
        int length = TRANSMITTER.sendCommand(command);
        if (length < 0) {
            throw new IllegalStateException(TRANSMITTER.getNativeError());
        }
        byte[] reply = new byte[length];
        reply[0] = command[0];
        if (TRANSMITTER.readResponse(reply) < 0) {
            throw new IllegalStateException(TRANSMITTER.getNativeError());
        }
        return reply;
    }

    private static byte[] reply(byte caller, byte[] body) {
        byte[] reply = new byte[11 + body.length];
        reply[0] = caller;
        reply[9] = JVM;
        System.arraycopy(body, 0, reply, 11, body.length);
        return reply;
    }
}
