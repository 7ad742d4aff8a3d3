package com.ferrolink;

import com.ferrolink.core.protocol.CommandHeader;
import com.ferrolink.core.receiver.Answers;
import com.ferrolink.core.receiver.Receiver;
import java.lang.reflect.Field;
import java.lang.reflect.Modifier;

/**
 * Prints Java's side of the protocol: constants, commands and replies, and what Java reads in the calls
 * that the arguments are, in hexadecimal digits. Each line is a word, and what goes with it.
 */
public final class ProtocolBytes {

    private static final byte[] PAYLOAD = {0, 127, (byte) 128, (byte) 255};

    private ProtocolBytes() {
    }

    public static void main(String[] calls) throws Exception {
        printConstants();
        printCommands();
        printReplies();
        for (String call : calls) {
            byte[] command = bytes(call);
            System.out.println("read " + Answers.handlerOf(command) + " " + hex(Answers.payloadOf(command)));
        }
    }

    private static void printConstants() throws IllegalAccessException {
        for (Field field : CommandHeader.class.getFields()) {
            if (Modifier.isStatic(field.getModifiers())) {
                System.out.println("constant " + field.getName() + " " + field.getInt(null));
            }
        }
        for (RuntimeId runtime : RuntimeId.values()) {
            System.out.println("runtime " + runtime.displayName() + " " + runtime.code());
        }
    }

    private static void printCommands() {
        Target cpp = Target.inMemory(RuntimeId.CPP);
        Target tcp = Target.tcp(RuntimeId.PYTHON, "127.0.200.1", 8080);
        Target tls = Target.tls(RuntimeId.RUBY, "10.1.2.3", 65535);
        print("call", CommandBuilder.call(cpp, "echo", PAYLOAD));
        print("call-tcp", CommandBuilder.call(tcp, "\u00fc", new byte[0]));
        byte[] within = CommandBuilder.callWithin(tls, "echo", PAYLOAD);
        CommandBuilder.setTimeLeft(within, 0x010280FFL);
        print("call-within", within);
        CommandBuilder.setTimeLeft(within, 0xFFFFFFFFL);
        print("call-within-longest", within);
        print("load", CommandBuilder.loadLibrary(tcp, "/\u00fc.so"));
        print("heartbeat", CommandBuilder.heartbeat(cpp));
    }

    private static void printReplies() {
        byte[] heartbeat = CommandBuilder.heartbeat(Target.inMemory(RuntimeId.JVM));
        print("answer", Answers.reply(heartbeat, PAYLOAD));
        print("report", Answers.refusal((byte) 8, "\u00fc"));
        print("heartbeat-answer", Receiver.heartBeat(heartbeat));
        print("loaded", CommandHeader.libraryLoaded(RuntimeId.JVM.code()));
    }

    private static void print(String what, byte[] bytes) {
        System.out.println(what + " " + hex(bytes));
    }

    private static String hex(byte[] bytes) {
        StringBuilder digits = new StringBuilder();
        for (byte value : bytes) {
            digits.append(String.format("%02X", value));
        }
        return digits.toString();
    }

    private static byte[] bytes(String digits) {
        byte[] bytes = new byte[digits.length() / 2];
        for (int index = 0; index < bytes.length; index++) {
            bytes[index] = (byte) Integer.parseInt(digits.substring(2 * index, 2 * index + 2), 16);
        }
        return bytes;
    }
}
