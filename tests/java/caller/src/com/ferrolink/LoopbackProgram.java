package com.ferrolink;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.concurrent.atomic.AtomicInteger;

/** A Java program that calls itself through the native library. */
public final class LoopbackProgram {

    private static final Ferrolink JVM = Ferrolink.inMemory(RuntimeId.JVM);

    private LoopbackProgram() {
    }

    /** Prints what comes back. */
    public static void main(String[] arguments) throws Exception {
        printFailure(JVM::heartbeat);
        serveHandlers();
        serveListener();
        Threads.onVirtualThread(() -> {
            serveHandlers();
            return null;
        });
        nest();
        serveMany();
        printFailure(JVM::heartbeat);
    }

    private static void serveHandlers() {
        try (CommandRegistration registration = Ferrolink.onCommands()) {
            JVM.heartbeat();
            System.out.println(text(JVM.call("echo", bytes("größer"))));
            System.out.println(JVM.call("echo", new byte[1 << 20]).length);
            printFailure(() -> JVM.call("none", new byte[0]));
            System.out.println(registration.isActive());
        }
    }

    private static void serveListener() {
        Ferrolink.onCommand(command -> CommandListener.reply(command,
                bytes(CommandListener.handlerOf(command) + CommandListener.payloadOf(command).length)));
        JVM.heartbeat();
        System.out.println(text(JVM.call("listener", new byte[3])));
        CommandRegistration registration = Ferrolink.onCommand(command -> {
            throw new IllegalStateException("thrown");
        });
        printFailure(() -> JVM.call("listener", new byte[0]));
        Ferrolink.onCommand(command -> null);
        registration.close();
        printFailure(() -> JVM.loadLibrary("x"));
        Ferrolink.onCommand(null);
    }

    /** Each level calls the next one while it is answering. */
    private static void nest() {
        try (CommandRegistration registration = Ferrolink.onCommand(command -> {
            int depth = CommandListener.payloadOf(command)[0];
            byte[] deeper = depth == 0 ? new byte[0] : JVM.call("deeper", new byte[] {(byte) (depth - 1)});
            return CommandListener.reply(command, Arrays.copyOf(deeper, deeper.length + 1));
        })) {
            System.out.println(JVM.call("deeper", new byte[] {50}).length + " " + registration.isActive());
        }
    }

    /** Threads of both kinds at once, with failures among the answers. */
    private static void serveMany() throws Exception {
        AtomicInteger right = new AtomicInteger();
        CommandRegistration registration = Ferrolink.onCommands();
        Threads.onEach(2, false, half -> Threads.onEach(8, half == 1, index -> {
            for (int number = 0; number < 2000; number++) {
                byte[] payload = bytes(half + ":" + index + ":" + number);
                right.addAndGet(Arrays.equals(payload, JVM.call("echo", payload)) ? 1 : 0);
                if (number % 500 == 0) {
                    right.addAndGet(fails() ? 1 : 0);
                }
            }
        }));
        registration.close();
        System.out.println(right.get());
    }

    private static boolean fails() {
        try {
            Ferrolink.inMemory(RuntimeId.PERL).heartbeat();
            return false;
        } catch (FerrolinkException failure) {
            return failure.code() == 1 && failure.text().startsWith("Cannot load: ");
        }
    }

    private static void printFailure(Runnable command) {
        try {
            command.run();
            System.out.println("no failure");
        } catch (RemoteException failure) {
            System.out.println("remote: " + failure.remoteText().split("\n", 2)[0]);
        } catch (FerrolinkException failure) {
            System.out.println(failure.prefix() + "/" + failure.code() + "/" + failure.text() + "/"
                    + failure.runtimeInfo().isEmpty());
        }
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    private static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.UTF_8).equals("größer")
                ? "same" : new String(bytes, StandardCharsets.UTF_8);
    }
}
