package com.example.textfacts;

import com.ferrolink.Ferrolink;
import com.ferrolink.RemoteException;
import com.ferrolink.RuntimeId;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Locale;
import java.util.zip.CRC32;

/**
 * Has C++ functions examine a file, and checks what they say. The first argument is the plug-in
 * library with the functions, which then run in this process; or the address of a server that has
 * them, such as {@code tls://127.0.0.1:8080}. The second one is the file. examples/README.md tells
 * how to run it.
 */
public final class TextFacts {

    private static final int WORDS = 5;
    private static final String TLS = "tls://";

    private final Ferrolink cpp;

    private TextFacts(Ferrolink cpp) {
        this.cpp = cpp;
    }

    /** Ends with 0 only if everything that C++ said was right. */
    public static void main(String[] arguments) {
        if (arguments.length != 2) {
            System.err.println("usage: TextFacts PLUG_IN|tls://ADDRESS:PORT FILE");
            System.exit(2);
        }
        try (Ferrolink cpp = open(arguments[0])) {
            new TextFacts(cpp).examine(Paths.get(arguments[1]));
        } catch (IOException | RuntimeException failure) {
            System.err.println("TextFacts: " + failure);
            System.exit(1);
        }
    }

    private static Ferrolink open(String place) {
        if (place.startsWith(TLS)) {
            int colon = place.lastIndexOf(':');
            return Ferrolink.tls(RuntimeId.CPP, place.substring(TLS.length(), colon),
                    Integer.parseInt(place.substring(colon + 1)));
        }
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(Paths.get(place).toAbsolutePath());
        return cpp;
    }

    private void examine(Path file) throws IOException {
        byte[] bytes = Files.readAllBytes(file);
        System.out.println(file.getFileName() + ", " + bytes.length + " bytes");
        compareCrcs(bytes);
        compareCrcsOfLines(bytes);
        listFrequentWords(bytes);
        provokeException();
        System.out.println("Everything that C++ said was right.");
    }

    private void compareCrcs(byte[] bytes) {
        System.out.printf("  CRC-32 by C++:  %08x%n", crcOfCpp(bytes));
        System.out.printf("  CRC-32 by Java: %08x%n", crcOfJava(bytes));
        require(crcOfCpp(bytes) == crcOfJava(bytes), "both are equal");
    }

    /** Many threads may call at once; each one gets the answers to its own calls. */
    private void compareCrcsOfLines(byte[] bytes) {
        String[] lines = new String(bytes, StandardCharsets.ISO_8859_1).split("\n");
        long equal = Arrays.stream(lines).parallel()
                .map(line -> line.getBytes(StandardCharsets.ISO_8859_1))
                .filter(line -> crcOfCpp(line) == crcOfJava(line)).count();
        System.out.println("  of its " + lines.length + " lines, on threads: " + equal + " are equal");
        require(equal == lines.length, "those of each line are equal");
    }

    private void listFrequentWords(byte[] bytes) {
        System.out.println("  the most frequent words, counted by C++:");
        ByteBuffer request = ByteBuffer.allocate(1 + bytes.length).put((byte) WORDS).put(bytes);
        String lines = new String(cpp.call("frequent-words", request.array()), StandardCharsets.US_ASCII);
        String text = new String(bytes, StandardCharsets.ISO_8859_1);
        List<String> words = Arrays.asList(text.toLowerCase(Locale.ROOT).split("[^a-z]+"));
        for (String line : lines.isEmpty() ? new String[0] : lines.split("\n")) {
            System.out.println("    " + line);
            String word = line.substring(line.indexOf(' ') + 1);
            require(line.equals(Collections.frequency(words, word) + " " + word), "Java counts as many");
        }
    }

    private void provokeException() {
        System.out.println("  asked for no words at all, C++ throws:");
        try {
            cpp.call("frequent-words", new byte[1]);
            throw new IllegalStateException("did not hold: C++ refuses that");
        } catch (RemoteException refused) {
            System.out.println("    " + refused.remoteText());
        }
    }

    private int crcOfCpp(byte[] bytes) {
        return ByteBuffer.wrap(cpp.call("crc-32", bytes)).getInt();
    }

    private static int crcOfJava(byte[] bytes) {
        CRC32 crc = new CRC32();
        crc.update(bytes);
        return (int) crc.getValue();
    }

    private static void require(boolean held, String what) {
        if (!held) {
            throw new IllegalStateException("did not hold: " + what);
        }
    }
}
