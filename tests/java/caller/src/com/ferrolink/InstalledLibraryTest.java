package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Needs the archive of an installation, with the native library beside it, on the class path. */
@DisplayName("The installed library")
final class InstalledLibraryTest {

    private static final String NATIVE = "Ferrolink Native Exception: Exception code ";
    private static final String NULL_ARRAY = "JVM Lib: Exception code 002. Command byte array is null";
    private static final String NULL_TEXT = "basic_string::_M_construct null not valid";
    private static final String TOO_SHORT = "Message byte array length is less than 11";
    private static final String NO_CHANNEL = NATIVE + "020. \\nNo channel selected";
    private static final String LIBRARY = "Binaries/Native/Linux/X64/libFerrolinkJvmRuntimeNative.so";

    @TempDir
    private Path temporary;
    private Path directory;
    private Path archive;
    private Path root;

    @BeforeEach
    void locate() throws Exception {
        directory = temporary.toRealPath();
        archive = ChildProgram.originOf(Ferrolink.class);
        root = archive.getParent().getParent().getParent();
    }

    private ChildProgram child(Path ofArchive) {
        return new ChildProgram(directory, ofArchive);
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "-Xcheck:jni"})
    @DisplayName("answers wrong calls with results and texts, and leaves no Java exception pending")
    void failingCalls(String option) throws Exception {
        String printed = child(archive).option(option).run(FailingCallsProgram.class);
        String missing = "\\nCannot load: " + root + "/Binaries/Native/Linux/X64/"
                + "libFerrolinkRubyRuntimeNative.so. \\nError: File not found.";
        assertEquals(String.join("\n",
                "before: 0 Undefined error",
                "read first: -3 " + NO_CHANNEL,
                "config null: -6 " + NULL_TEXT,
                "directory null: -7 " + NULL_TEXT,
                "send empty: 0 " + NULL_TEXT,
                "read empty: 0 " + NULL_TEXT,
                "send null: -2 " + NULL_ARRAY,
                "send 5: -2 " + TOO_SHORT,
                "read null: -3 " + NULL_ARRAY,
                "read unsent: -3 " + NO_CHANNEL,
                "deploy null: -5 " + NULL_ARRAY,
                "deploy 5: -5 " + TOO_SHORT,
                "deploy 9: -5 " + TOO_SHORT,
                "deploy null path: -5 " + NULL_TEXT,
                "embedded null: -4 " + NULL_TEXT,
                "channel 9: -2 " + NATIVE + "023.",
                "deploy channel 3: -5 " + NATIVE + "023.",
                "ruby: -2 " + NATIVE + "001. " + missing,
                "ruby read: -3 " + NATIVE + "019. \\nRuntime not loaded: Ruby",
                "runtime 77: -2 " + NATIVE + "001. \\nCannot load: " + root
                        + "/Binaries/Native/Linux/X64/Unknown. \\nError: File not found.",
                "runtime 77 read: -3 " + NATIVE + "019. \\nRuntime not loaded: Unknown",
                "embedded ruby: -4 " + NATIVE + "001. " + missing,
                "no apply: 0 JVM Lib: Exception code 008. Callback must expose apply(Object)->Object",
                "no callback: -2 JVM Launcher: Exception code 032. Java callback is not set"
                        + "\\nRUNTIME INFO:\\n\\nJVM Native Launcher Runtime Info: \\nJVM shared library"
                        + " search path: ",
                ""), printed);
    }

    @Test
    @DisplayName("gives each thread the text of its own failure, whichever others fail meanwhile")
    void ownFailures() throws Exception {
        assertEquals("400 of 400\n", child(archive).run(OwnFailuresProgram.class));
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "-Xcheck:jni"})
    @DisplayName("carries commands of a Java program and those that come back to it")
    void loopback(String option) throws Exception {
        String served = "same\n1048576\nremote: Unknown handler 'none'. Known handlers: digest, echo,"
                + " load-archives, objects.\ntrue\n";
        assertEquals("JVM Launcher/18/JVM not initialized/false\n" + served + "listener3\n"
                + "remote: java.lang.IllegalStateException: thrown\n",
                firstLines(child(archive).option(option).run(LoopbackProgram.class), 7));
        String[] rest = Files.readString(directory.resolve("output")).split("\n");
        assertTrue(rest[7].startsWith("remote: The command listener (com.ferrolink.LoopbackProgram$$")
                && rest[7].endsWith(") returned null instead of a reply, which has a header of 11 bytes."),
                rest[7]);
        assertEquals(served + "51 true\n32064\nJVM Launcher/32/Java callback is not set/false\n",
                String.join("\n", Arrays.copyOfRange(rest, 8, rest.length)) + "\n");
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "-Xcheck:jni"})
    @DisplayName("carries calls with time limits, nested too, and a program ends while one goes on")
    void timeLimits(String option) throws Exception {
        assertEquals("FerrolinkException 18 false\n0\n41\ntrue\n7\n2400\ntrue\n",
                child(archive).option(option).run(DeadlineProgram.class));
    }

    private static String firstLines(String text, int count) {
        int end = 0;
        for (int line = 0; line < count; line++) {
            end = text.indexOf('\n', end) + 1;
        }
        return text.substring(0, end);
    }

    @Test
    @DisplayName("is reported with its path where it is missing, each time, until it is there")
    void missing() throws Exception {
        String text = "Cannot find the Ferrolink library " + directory + "/" + LIBRARY + ". Its root was"
                + " named by the system property ferrolink.home, which has to be the directory with"
                + " Binaries in it.";
        ChildProgram child = child(archive).option("-Dferrolink.home=" + directory);
        assertEquals(text + " -1\n" + text + " -1\njava.lang.UnsatisfiedLinkError\n" + text + "\n",
                child.run(MissingLibraryProgram.class));
        assertEquals(text + " -1\n" + text + " -1\njava.lang.UnsatisfiedLinkError\nUndefined error\n",
                child.run(MissingLibraryProgram.class, root.toString()));
    }

    @Test
    @DisplayName("is reported with its path and the reason where it is no library")
    void broken() throws Exception {
        Path library = directory.resolve(LIBRARY);
        Files.createDirectories(library.getParent());
        Files.writeString(library, "no library");
        String printed = child(archive).option("-Dferrolink.home=" + directory)
                .run(MissingLibraryProgram.class);
        String start = "Cannot load the Ferrolink library " + library + ": " + library;
        assertEquals(3, printed.lines().filter(line -> line.startsWith(start)).count(), printed);
    }

    @Test
    @DisplayName("is found from an archive that is a link into the installation")
    void linkedArchive() throws Exception {
        Path link = Files.createSymbolicLink(directory.resolve("ferrolink.jar"), archive);
        assertEquals("Undefined error\n", child(link).run(MissingLibraryProgram.class));
    }
}
