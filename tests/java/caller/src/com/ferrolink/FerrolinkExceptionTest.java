package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.ObjectInputStream;
import java.io.ObjectOutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.BitSet;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Stream;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

@DisplayName("Native error texts")
final class FerrolinkExceptionTest {

    static Stream<Arguments> texts() {
        return Stream.of(
            arguments("JVM Launcher: Exception code 018. JVM not initialized\nRUNTIME INFO:\n\nJVM Native",
                    "JVM Launcher", 18, "JVM not initialized", "\nJVM Native"),
            arguments("JVM Launcher: Exception code 011\nRUNTIME INFO:\nx",
                    "JVM Launcher", 11, "", "x"),
            arguments("Ferrolink Native Exception: Exception code 023.",
                    "Ferrolink Native Exception", 23, "", ""),
            arguments("Ferrolink Native Exception: Exception code 020. \nNo channel selected",
                    "Ferrolink Native Exception", 20, "No channel selected", ""),
            arguments("JVM Lib: Exception code 002. Command byte array is null",
                    "JVM Lib", 2, "Command byte array is null", ""),
            arguments("JVM Launcher: Exception code 004. \nCannot find file: a: b\n\n\nRUNTIME INFO:\n\n",
                    "JVM Launcher", 4, "Cannot find file: a: b", "\n"),
            arguments("Go Launcher: Exception code 7. one\ntwo", "Go Launcher", 7, "one\ntwo", ""),
            arguments("JVM Lib: Exception code 000. ", "JVM Lib", 0, "", ""),
            arguments("JVM Launcher: Exception code 001. a\nRUNTIME INFO:\nb\nRUNTIME INFO:\nc",
                    "JVM Launcher", 1, "a", "b\nRUNTIME INFO:\nc"),
            arguments("Message byte array length is less than 11",
                    "", -1, "Message byte array length is less than 11", ""),
            arguments("basic_string::_M_construct null not valid",
                    "", -1, "basic_string::_M_construct null not valid", ""),
            arguments("no code\nRUNTIME INFO:\ninfo", "", -1, "no code", "info"),
            arguments("\nRUNTIME INFO:\ninfo", "", -1, "", "info"),
            arguments("RUNTIME INFO:\ninfo", "", -1, "RUNTIME INFO:\ninfo", ""),
            arguments("JVM Lib: Exception code x. text", "", -1, "JVM Lib: Exception code x. text", ""),
            arguments("JVM Lib: Exception code 999999999. t", "JVM Lib", 999999999, "t", ""),
            arguments("JVM Lib: Exception code 9999999999. t", "", -1,
                    "JVM Lib: Exception code 9999999999. t", ""),
            arguments(": Exception code 001. t", "", -1, ": Exception code 001. t", ""),
            arguments("a\nJVM Lib: Exception code 001. t", "", -1,
                    "a\nJVM Lib: Exception code 001. t", ""),
            arguments("Undefined error", "", -1, "Undefined error", ""),
            arguments("1", "", -1, "1", ""));
    }

    @ParameterizedTest
    @MethodSource("texts")
    @DisplayName("are taken apart")
    void parse(String text, String prefix, int code, String rest, String info) {
        FerrolinkException failure = FerrolinkException.ofNativeText(text);
        assertEquals(text, failure.getMessage());
        assertEquals(prefix, failure.prefix());
        assertEquals(code, failure.code());
        assertEquals(rest, failure.text());
        assertEquals(info, failure.runtimeInfo());
    }

    @Test
    @DisplayName("that are missing count as empty, which the message says")
    void missing() {
        for (String text : new String[] {null, ""}) {
            FerrolinkException failure = FerrolinkException.ofNativeText(text);
            assertEquals("The native library gave no reason.", failure.getMessage());
            assertEquals("", failure.text());
            assertEquals(-1, failure.code());
            assertTrue(failure.mayHaveExecuted());
        }
    }

    @Test
    @DisplayName("that nobody can read are written out in the message")
    void unreadable() {
        String start = "The native library gave a reason that is not readable: ";
        FerrolinkException failure = FerrolinkException.ofNativeText("\uFFFD\u0001 \n*");
        assertEquals(start + "\\uFFFD\\u0001\\u0020\\u000A*", failure.getMessage());
        assertEquals("\uFFFD\u0001 \n*", failure.text());
        assertEquals(start + "\\u0000".repeat(64) + "... (1000 characters)",
                FerrolinkException.ofNativeText("\0".repeat(1000)).getMessage());
        assertEquals("\uFFFDé", FerrolinkException.ofNativeText("\uFFFDé").getMessage());
    }

    private static FerrolinkException coded(String prefix, int code) {
        return FerrolinkException.ofNativeText(
                String.format("%s: Exception code %03d. text", prefix, code));
    }

    /**
     * Checks every possible code: only the codes of the table mean that the command was not executed.
     */
    @Test
    @DisplayName("say that a command was not executed by the codes that the documentation has, and no others")
    void notExecuted() throws Exception {
        Path page = Path.of(System.getProperty("ferrolink.docs"), "errors.md");
        List<String> rows = Files.readAllLines(page);
        int first = rows.indexOf("| Prefix | Codes of commands that were not executed |") + 2;
        Map<String, BitSet> documented = new HashMap<>();
        for (int index = first; rows.get(index).startsWith("| `"); index++) {
            String[] cells = rows.get(index).split("[|`]");
            BitSet codes = documented.computeIfAbsent(cells[2], absent -> new BitSet());
            for (String range : cells[4].trim().split(", ")) {
                String[] ends = range.split(" to ");
                codes.set(Integer.parseInt(ends[0]), Integer.parseInt(ends[ends.length - 1]) + 1);
            }
        }
        assertEquals(Set.of("JVM Launcher", "Ferrolink Native Exception", "JVM Lib", "Network Client"),
                documented.keySet());
        documented.put("Cpp Launcher", new BitSet());
        documented.put("Python Launcher", new BitSet());
        for (Map.Entry<String, BitSet> prefix : documented.entrySet()) {
            for (int code = 0; code < 1000; code++) {
                assertEquals(!prefix.getValue().get(code), coded(prefix.getKey(), code).mayHaveExecuted(),
                        prefix.getKey() + code);
            }
        }
        assertTrue(FerrolinkException.ofNativeText("no code").mayHaveExecuted());
    }

    @Test
    @DisplayName("of the network's time limits are of a class of their own")
    void deadlines() {
        for (int code = 0; code < 20; code++) {
            assertEquals(code == 9 || code == 10,
                    coded("Network Client", code) instanceof DeadlineExceededException);
            assertFalse(coded("JVM Launcher", code) instanceof DeadlineExceededException);
        }
    }

    @Test
    @DisplayName("keep their parts when the exception is serialised")
    void serialised() throws Exception {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        try (ObjectOutputStream out = new ObjectOutputStream(bytes)) {
            out.writeObject(FerrolinkException.ofNativeText("A: Exception code 003. b\nRUNTIME INFO:\nc"));
        }
        try (ObjectInputStream in =
                new ObjectInputStream(new ByteArrayInputStream(bytes.toByteArray()))) {
            FerrolinkException copy = (FerrolinkException) in.readObject();
            assertEquals("A3bc", copy.prefix() + copy.code() + copy.text() + copy.runtimeInfo());
        }
    }
}
