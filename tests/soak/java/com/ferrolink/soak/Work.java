package com.ferrolink.soak;

import com.ferrolink.CommandListener;
import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.transmitter.TransmitterWrapper;
import java.io.File;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.atomic.AtomicLong;

/**
 * The work of the Java program, one method per kind. Each is called repeatedly on a thread of its own. When it
 * returns, none of its commands is running.
 */
final class Work {

    private static final int BURST = 3;
    private static final int CALLS_TO_A_REPLACEMENT = 1000;
    private static final int SETTLERS = 16;
    private static final int BALLAST = 64 << 10;
    private static final byte[] NONE = {};

    private final Tally tally;
    private final Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
    private final Ferrolink tcp;
    private final Ferrolink tls;
    private final AtomicLong listeners = new AtomicLong();

    Work(Tally tally, int tcpPort, int tlsPort) {
        this.tally = tally;
        tcp = Ferrolink.tcp(RuntimeId.CPP, "127.0.0.1", tcpPort);
        tls = Ferrolink.tls(RuntimeId.JVM, "127.0.0.1", tlsPort);
        replaceListener(null);
    }

    void callOnThisThread(Payloads payloads) {
        byte[] payload = payloads.next();
        expect("C++", cpp.call("mirror", payload), join("cpp ", payload));
        byte[] small = payloads.small();
        expect("called back", cpp.call("back", small), small);
    }

    void callOnShortLivedThreads(Payloads payloads) throws InterruptedException {
        List<Thread> threads = new ArrayList<>();
        for (int i = 0; i < BURST; i++) {
            byte[] payload = payloads.below(8) == 0 ? payloads.largest() : payloads.small();
            boolean unread = payloads.below(4) == 0;
            Thread thread = new Thread(() -> callOnce(payload, unread));
            threads.add(thread);
            thread.start();
        }
        for (Thread thread : threads) {
            thread.join();
        }
    }

    private void callOnce(byte[] payload, boolean unread) {
        try {
            if (unread) {
                byte[] command = join("\10\0\0\0\0\0\0\0\0\2\2\6mirror", payload);
                int length = TransmitterWrapper.sendCommand(command);
                tally.command("left unread");
                if (length != 11 + 4 + payload.length) {
                    tally.wrong("unread: length " + length);
                }
            } else {
                expect("short-lived thread", cpp.call("mirror", payload), join("cpp ", payload));
            }
        } catch (RuntimeException failure) {
            tally.wrong("short-lived thread: " + failure);
        }
    }

    void failOnPurpose(Payloads payloads) {
        expectError("C++ exception", "std::runtime_error: cpp refuses",
                () -> cpp.call("refuse", bytes("no")));
        expectError("unknown handler", "nobody", () -> cpp.call("nobody", payloads.next()));
        String text = "on purpose " + payloads.below(1000);
        expectError("Java exception", "java.lang.IllegalStateException: " + text,
                () -> cpp.call("relay", join("\5throw", bytes(text))));
        expectError("C++ exception", "std::runtime_error: cpp refuses",
                () -> tcp.call("refuse", bytes("far")));
    }

    /** Raises inside the library, which logs it and pauses 50 ms each time. */
    void failInTheLibrary() {
        tally.command("failing");
        if (TransmitterWrapper.sendCommand(new byte[] {8, 0, 9, 0, 0, 0, 0, 0, 0, 2, 2}) == -2
                && TransmitterWrapper.getNativeError().contains("023")) {
            tally.expectedError("library exception");
        } else {
            tally.wrong("a command to an unknown channel: " + TransmitterWrapper.getNativeError());
        }
    }

    /**
     * Sends small commands on many threads at once. Afterwards the blocks that the library keeps under the ids
     * of ended threads have one size, regardless of the earlier responses. An unread response leaves no block
     * for the next one.
     */
    void settle() throws InterruptedException {
        CountDownLatch together = new CountDownLatch(SETTLERS);
        List<Thread> threads = new ArrayList<>();
        for (int i = 0; i < SETTLERS; i++) {
            threads.add(new Thread(() -> {
                together.countDown();
                try {
                    together.await();
                    callOnce(NONE, true);
                    callOnce(NONE, false);
                    expect("called back", cpp.call("back", NONE), NONE);
                    synchronized (this) {
                        callBothServers(NONE);
                    }
                } catch (InterruptedException | RuntimeException failure) {
                    tally.wrong("settling: " + failure);
                }
            }));
        }
        threads.forEach(Thread::start);
        for (Thread thread : threads) {
            thread.join();
        }
    }

    void nest(Payloads payloads) {
        int depth = payloads.below(8);
        StringBuilder expected = new StringBuilder();
        for (int level = 0; level <= depth; level++) {
            expected.insert(0, level % 2 == 0 ? 'J' : 'C');
        }
        expect("nested", DownHandler.down(depth), bytes(expected.toString()));
    }

    void replaceHandlers(Payloads payloads) {
        byte[] generation = cpp.call("replace", NONE);
        expect("replaced C++ function", cpp.call("changing", NONE), generation);
        expect("threads of C++", cpp.call("threads", payloads.small()), bytes("3"));
    }

    /**
     * Alternates between a listener of this program and the installed handlers, which give the same answers.
     * Calls in between, so that replacing stays rare.
     */
    void replaceListener(Payloads payloads) {
        long number = listeners.incrementAndGet();
        if (number % 2 == 0) {
            Ferrolink.onCommands();
        } else {
            byte[] ballast = new byte[BALLAST];
            Ferrolink.onCommand(command -> answer(command, ballast));
        }
        for (int i = 0; payloads != null && i < CALLS_TO_A_REPLACEMENT; i++) {
            byte[] small = payloads.small();
            expect(i == 0 ? "replaced listener" : "called back", cpp.call("back", small), small);
        }
    }

    /**
     * Whether a callback into Java arrived between two listeners. The old one is removed before the new one is
     * set, and commands in between fail with this code.
     */
    boolean cameBetweenListeners(RuntimeException failure) {
        if (!String.valueOf(failure.getMessage()).contains("JVM Launcher: Exception code 032.")) {
            return false;
        }
        tally.expectedError("between two listeners");
        return true;
    }

    private static byte[] answer(byte[] command, byte[] ballast) {
        byte[] payload = CommandListener.payloadOf(command);
        switch (CommandListener.handlerOf(command)) {
            case "echo":
                return CommandListener.reply(command, Arrays.copyOf(payload, payload.length + ballast[0]));
            case "down":
                return CommandListener.reply(command, DownHandler.down(payload[0]));
            default:
                throw new IllegalStateException(new String(payload, StandardCharsets.UTF_8));
        }
    }

    void loadAgain(Payloads payloads) {
        for (String library : System.getenv("SOAK_PLUG_INS").split(File.pathSeparator)) {
            cpp.loadLibrary(library);
            tally.command("load-library");
        }
    }

    void callServers(Payloads payloads) {
        callBothServers(payloads.next());
    }

    private void callBothServers(byte[] payload) {
        expect("TCP", tcp.call("mirror", payload), join("cpp ", payload));
        expect("TLS", tls.call("echo", payload), payload);
    }

    private void expect(String kind, byte[] got, byte[] expected) {
        tally.command(kind);
        if (!Arrays.equals(got, expected)) {
            tally.wrong(kind + ": got " + got.length + " bytes, expected other " + expected.length);
        }
    }

    private void expectError(String kind, String part, Runnable action) {
        String text = "no error";
        try {
            action.run();
        } catch (RuntimeException failure) {
            if (cameBetweenListeners(failure)) {
                return;
            }
            text = String.valueOf(failure.getMessage());
        }
        tally.command("failing");
        if (text.contains(part)) {
            tally.expectedError(kind);
        } else {
            tally.wrong(kind + ": " + text);
        }
    }

    private static byte[] join(String start, byte[] rest) {
        byte[] joined = Arrays.copyOf(bytes(start), start.length() + rest.length);
        System.arraycopy(rest, 0, joined, start.length(), rest.length);
        return joined;
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }
}
