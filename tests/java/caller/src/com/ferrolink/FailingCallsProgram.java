package com.ferrolink;

import com.ferrolink.core.transmitter.TransmitterWrapper;
import java.util.function.IntSupplier;

/** Calls the native methods with what they refuse, and prints results and texts. */
public final class FailingCallsProgram {

    private FailingCallsProgram() {
    }

    /** Prints a line for each call. */
    public static void main(String[] arguments) {
        print("before", () -> 0);
        print("read first", () -> TransmitterWrapper.readResponse(new byte[11]));
        print("config null", () -> TransmitterWrapper.setConfigSource(null));
        print("directory null", () -> TransmitterWrapper.setWorkingDirectory(null));
        print("send empty", () -> TransmitterWrapper.sendCommand(new byte[0]));
        print("read empty", () -> TransmitterWrapper.readResponse(new byte[0]));
        print("send null", () -> TransmitterWrapper.sendCommand(null));
        print("send 5", () -> TransmitterWrapper.sendCommand(new byte[5]));
        print("read null", () -> TransmitterWrapper.readResponse(null));
        print("read unsent", () -> TransmitterWrapper.readResponse(new byte[1]));
        print("deploy null", () -> TransmitterWrapper.deployRuntime(null, "x", 0));
        print("deploy 5", () -> TransmitterWrapper.deployRuntime(new byte[5], "x", 0));
        print("deploy 9", () -> TransmitterWrapper.deployRuntime(new byte[9], "x", 0));
        print("deploy null path", () -> TransmitterWrapper.deployRuntime(new byte[11], null, 0));
        print("embedded null", () -> TransmitterWrapper.setEmbeddedRuntime(2, 8, 0, null));
        print("channel 9", () -> TransmitterWrapper.sendCommand(command(8, 9)));
        print("deploy channel 3", () -> TransmitterWrapper.deployRuntime(command(8, 3), "x", 0));
        print("ruby", () -> TransmitterWrapper.sendCommand(command(6, 0)));
        print("ruby read", () -> TransmitterWrapper.readResponse(new byte[] {6}));
        print("runtime 77", () -> TransmitterWrapper.sendCommand(command(77, 0)));
        print("runtime 77 read", () -> TransmitterWrapper.readResponse(new byte[] {77}));
        print("embedded ruby", () -> TransmitterWrapper.setEmbeddedRuntime(2, 6, 0, "x"));
        print("no apply", () -> {
            TransmitterWrapper.setCallback(new Object());
            return 0;
        });
        print("no callback", () -> {
            TransmitterWrapper.setCallback(null);
            return TransmitterWrapper.sendCommand(command(2, 0));
        });
    }

    private static byte[] command(int target, int channel) {
        return new byte[] {(byte) target, 0, (byte) channel, 0, 0, 0, 0, 0, 0, 2, 11};
    }

    private static void print(String what, IntSupplier call) {
        int result = call.getAsInt();
        System.out.println(what + ": " + result + ' '
                + TransmitterWrapper.getNativeError().replace("\n", "\\n"));
    }
}
