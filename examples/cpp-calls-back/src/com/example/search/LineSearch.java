package com.example.search;

import com.ferrolink.CommandListener;
import com.ferrolink.CommandRegistration;
import com.ferrolink.Ferrolink;
import com.ferrolink.RemoteException;
import com.ferrolink.RuntimeId;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Collections;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.regex.Pattern;

/**
 * Searches a file for a pattern: C++ splits the file into lines and shares them out among threads of
 * its own, which call back into this program to have the pattern tried. The arguments are the plug-in
 * library, the pattern and the file; examples/README.md tells how to run it.
 */
public final class LineSearch {

    private static final int MOST_LINES = 6;

    private final Pattern pattern;
    private final Set<Thread> announcers = ConcurrentHashMap.newKeySet();
    private final Set<Thread> searchers = ConcurrentHashMap.newKeySet();
    private final AtomicInteger questions = new AtomicInteger();

    private LineSearch(Pattern pattern) {
        this.pattern = pattern;
    }

    /** Ends with 0 only if C++ called back as it should and found what Java finds itself. */
    public static void main(String[] arguments) {
        if (arguments.length != 3) {
            System.err.println("usage: LineSearch PLUG_IN PATTERN FILE");
            System.exit(2);
        }
        try (Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP)) {
            cpp.loadLibrary(Paths.get(arguments[0]).toAbsolutePath());
            new LineSearch(Pattern.compile(arguments[1])).search(cpp, Paths.get(arguments[2]));
            refuseToAnswer(cpp);
            System.out.println("C++ called back as it should.");
        } catch (IOException | RuntimeException failure) {
            System.err.println("LineSearch: " + failure);
            System.exit(1);
        }
    }

    private void search(Ferrolink cpp, Path file) throws IOException {
        byte[] bytes = Files.readAllBytes(file);
        String found;
        CommandRegistration registration = Ferrolink.onCommand(this::answer);
        try {
            found = text(cpp.call("search", bytes));
        } finally {
            registration.close();
        }
        print(found);
        System.out.println("Java was asked about " + questions + " lines, on " + searchers.size()
                + " threads of C++.");
        require(announcers.equals(Collections.singleton(Thread.currentThread())),
                "the announcement came on the thread that called");
        require(!searchers.contains(Thread.currentThread()), "the questions came on other threads");
        require(found.equals(searchHere(text(bytes))), "Java finds the same lines");
    }

    /** Called by C++; each of its threads may be in here at the same time. */
    private byte[] answer(byte[] command) {
        String payload = text(CommandListener.payloadOf(command));
        switch (CommandListener.handlerOf(command)) {
            case "announce":
                announcers.add(Thread.currentThread());
                System.out.println("C++ has " + payload + " lines to search for " + pattern + ".");
                return CommandListener.reply(command, new byte[0]);
            case "matches":
                searchers.add(Thread.currentThread());
                questions.incrementAndGet();
                byte found = (byte) (pattern.matcher(payload).find() ? 1 : 0);
                return CommandListener.reply(command, new byte[] {found});
            default:
                throw new IllegalArgumentException("C++ asked for " + CommandListener.handlerOf(command));
        }
    }

    /** An exception of a listener passes through C++ and arrives here. */
    private static void refuseToAnswer(Ferrolink cpp) {
        CommandRegistration registration = Ferrolink.onCommand(command -> {
            throw new IOException("no questions, please");
        });
        try {
            cpp.call("search", new byte[0]);
            throw new IllegalStateException("did not hold: the exception arrives");
        } catch (RemoteException refused) {
            System.out.println("An exception in Java, as it comes back through C++:");
            System.out.println("  " + refused.remoteText().split("\n", 2)[0]);
        } finally {
            registration.close();
        }
    }

    private String searchHere(String text) {
        StringBuilder found = new StringBuilder();
        String[] lines = text.split("\n", -1);
        int count = lines[lines.length - 1].isEmpty() ? lines.length - 1 : lines.length;
        for (int index = 0; index < count; index++) {
            if (pattern.matcher(lines[index]).find()) {
                found.append(index + 1).append(": ").append(lines[index]).append('\n');
            }
        }
        return found.toString();
    }

    private static void print(String found) {
        String[] lines = found.isEmpty() ? new String[0] : found.split("\n");
        for (int index = 0; index < Math.min(lines.length, MOST_LINES); index++) {
            System.out.println("  " + lines[index]);
        }
        if (lines.length > MOST_LINES) {
            System.out.println("  and " + (lines.length - MOST_LINES) + " more");
        }
    }

    private static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.UTF_8);
    }

    private static void require(boolean held, String what) {
        if (!held) {
            throw new IllegalStateException("did not hold: " + what);
        }
    }
}
