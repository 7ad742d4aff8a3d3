package com.ferrolink.bench;

import com.ferrolink.core.receiver.Receiver;

/** Start-up of a Java program: from process start to the first answer. */
public final class StartUp {

    private StartUp() {
    }

    public static void main(String[] arguments) {
        byte[] command = new byte[64];
        command[0] = 2;
        command[9] = 8;
        command[10] = 2;
        byte[] echo = {4, 'e', 'c', 'h', 'o'};
        System.arraycopy(echo, 0, command, 11, echo.length);
        byte[] answer = Receiver.sendCommand(command);
        if (answer[10] == 10) {
            Runtime.getRuntime().halt(1);
        }
        System.out.println("\nanswered");
        System.out.flush();
        Runtime.getRuntime().halt(0);
    }
}
