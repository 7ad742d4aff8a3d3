package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertTimeoutPreemptively;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

@DisplayName("Archives that arrive later")
final class LaterArchivesTest {

    private static final byte[] LIBRARY_LOADED = {2, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2, 4, 0, 0, 0, 0};

    /** How long a file may be looked at that would be waited for for ever. */
    private static final Duration PATIENCE = Duration.ofSeconds(30);

    @TempDir
    private Path temporary;
    private Path directory;
    private CommandDispatcher dispatcher;

    @BeforeEach
    void newDispatcher() throws IOException {
        directory = temporary.toRealPath();
        dispatcher = new CommandDispatcher(getClass().getClassLoader());
    }

    private Path archive(String type, String name, String file) throws IOException {
        return new ArchiveBuilder(directory).handler(type, name, "return \"" + name + "\".getBytes();")
                .write(directory.resolve(file));
    }

    private String load(Path path) {
        return Replies.successText(dispatcher.answer(Commands.call("load-archives", path.toString())));
    }

    private String refusal(byte[] command) {
        return Replies.exceptionText(dispatcher.answer(command));
    }

    private void assertCallable(String name) {
        assertEquals(name, Replies.successText(dispatcher.answer(Commands.call(name, ""))));
    }

    private void assertNotLoaded(String name) {
        String text = refusal(Commands.call(name, ""));
        assertTrue(text.startsWith("Unknown handler '" + name + "'."), text);
    }

    private String addedArchives() {
        String info = dispatcher.describe();
        return info.substring(info.indexOf("Archives added later:"), info.indexOf("Handlers:"));
    }

    @Test
    @DisplayName("make their handlers available, answered with exactly 17 bytes")
    void loadLibrary() throws IOException {
        Path archive = archive("One", "one", "one.jar");
        assertNotLoaded("one");
        assertArrayEquals(LIBRARY_LOADED, dispatcher.answer(Commands.loadLibrary(archive.toString())));
        assertCallable("one");
    }

    @Test
    @DisplayName("have their classes found by typed calls")
    void typedCalls() throws IOException {
        byte[] request = new byte[] {0, 0, 8, 10, 3, 0, 0, 0, 'O', 'n', 'e'};
        byte[] before = Replies.successBody(dispatcher.answer(Commands.call("objects", request)));
        assertEquals(2, before[0]);
        assertTrue(new String(before, StandardCharsets.UTF_8).contains("There is no class 'One'."));
        load(archive("One", "one", "one.jar"));
        byte[] after = Replies.successBody(dispatcher.answer(Commands.call("objects", request)));
        assertArrayEquals(new byte[] {0, 11}, Arrays.copyOf(after, 2));
        assertEquals(2 + 8 + 4, after.length);
        byte[] within = Commands.of(3, new byte[] {0, 0, 1, 0, 7, 'o', 'b', 'j', 'e', 'c', 't', 's', 0, 0, 11});
        assertArrayEquals(new byte[] {0, 15}, Replies.successBody(dispatcher.answer(within)));
    }

    @Test
    @DisplayName("are named by what stands before the first zero byte")
    void zeroTerminated() throws IOException {
        Path archive = archive("One", "one", "one.jar");
        assertArrayEquals(LIBRARY_LOADED,
                dispatcher.answer(Commands.loadLibrary(archive + "\0\0rest")));
        assertCallable("one");
    }

    @Test
    @DisplayName("are answered with the same 17 bytes each time, whatever a caller does to them")
    void freshAnswer() throws IOException {
        byte[] command = Commands.loadLibrary(archive("One", "one", "one.jar").toString());
        Arrays.fill(dispatcher.answer(command), (byte) 99);
        assertArrayEquals(LIBRARY_LOADED, dispatcher.answer(command));
    }

    @Test
    @DisplayName("need a message of at least 25 bytes")
    void shortMessage() {
        assertEquals("Malformed command: a load-library command of 24 bytes, at least 25 are needed.",
                refusal(Commands.loadLibrary("")));
        assertEquals("Cannot find file: the path is empty. Send the path of an archive or of a"
                + " directory with archives.", refusal(Commands.loadLibrary("\0")));
    }

    @Test
    @DisplayName("that do not exist are answered with their path and advice")
    void missing() {
        Path missing = directory.resolve("missing.jar");
        String expected = "Cannot find file: " + missing + " (NoSuchFileException). Check that the"
                + " archive or directory exists and may be read by this process, or send its absolute"
                + " path.";
        assertEquals(expected, refusal(Commands.loadLibrary(missing.toString())));
        assertEquals(expected, refusal(Commands.call("load-archives", missing.toString())));
        assertEquals("Archives added later: none\n", addedArchives());
    }

    @Test
    @DisplayName("with a path that no file can have are answered with it")
    void invalidPath() {
        String text = refusal(Commands.call("load-archives", "a\0b"));
        assertTrue(text.startsWith("Cannot find file: a\0b ("), text);
    }

    @Test
    @DisplayName("that are no archives are answered with their path, and nothing is added")
    void broken() throws IOException {
        archive("One", "one", "one.jar");
        Path broken = Files.writeString(directory.resolve("other.jar"), "no archive");
        String text = refusal(Commands.loadLibrary(directory.toString()));
        assertTrue(text.startsWith("Cannot read archive: " + broken + " ("), text);
        assertTrue(text.endsWith("). Check that it is a complete .jar file that this process may read;"
                + " nothing was added."), text);
        assertNotLoaded("one");
        assertEquals("Archives added later: none\n", addedArchives());
    }

    @Test
    @DisplayName("are regular files: a pipe or a device is refused by name, in a directory passed over")
    void regularFiles() throws IOException, InterruptedException {
        Path pipe = directory.resolve("pipe.jar");
        assertEquals(0, new ProcessBuilder("mkfifo", pipe.toString()).start().waitFor());
        for (String path : Arrays.asList(pipe.toString(), "/dev/zero")) {
            String expected = "Cannot read archive: " + path + " (neither a regular file nor a directory)."
                    + " Send the path of an archive or of a directory with archives; nothing was added.";
            assertEquals(expected, assertTimeoutPreemptively(PATIENCE,
                    () -> refusal(Commands.call("load-archives", path))));
        }
        archive("One", "one", "one.jar");
        assertEquals("one\n", assertTimeoutPreemptively(PATIENCE, () -> load(directory)));
    }

    @Test
    @DisplayName("of a directory are all added, one level deep, however their names are written")
    void directory() throws IOException {
        Files.createDirectories(directory.resolve("libs/deeper"));
        Path second = archive("Two", "two", "libs/b.JAR");
        Path first = archive("One", "one", "libs/a.jar");
        archive("Three", "three", "libs/deeper/c.jar");
        archive("Four", "four", "libs/d.zip");
        Files.createDirectory(directory.resolve("libs/directory.jar"));
        assertEquals("one\ntwo\n", load(directory.resolve("libs")));
        assertCallable("one");
        assertCallable("two");
        assertNotLoaded("three");
        assertNotLoaded("four");
        assertEquals("Archives added later:\n  " + first + "\n  " + second + "\n", addedArchives());
    }

    @Test
    @DisplayName("may have any name if they are named themselves")
    void anyName() throws IOException {
        assertEquals("four\n", load(archive("Four", "four", "d.zip")));
    }

    @Test
    @DisplayName("that were added before are passed over, also through a link")
    void twice() throws IOException {
        Path archive = archive("One", "one", "one.jar");
        Path link = Files.createSymbolicLink(directory.resolve("link.jar"), archive);
        assertEquals("one\n", load(archive));
        assertEquals("", load(archive));
        assertEquals("", load(link));
        assertEquals("", load(directory));
        assertEquals("Archives added later:\n  " + archive + "\n", addedArchives());
        assertEquals("Unknown handler 'no'. Known handlers: digest, echo, load-archives, objects, one.",
                refusal(Commands.call("no", "")));
    }

    @Test
    @DisplayName("that are on the class path already are passed over")
    void onClassPath() {
        assertEquals("", load(Path.of(ClassPaths.originOf(Receiver.class))));
        assertEquals("Archives added later: none\n", addedArchives());
    }

    @Test
    @DisplayName("see each other's classes, in one loader that is their context class loader")
    void oneLoader() throws IOException {
        Path library = new ArchiveBuilder(directory)
                .source("Shared", "public class Shared { }").write(directory.resolve("shared.jar"));
        Path handler = new ArchiveBuilder(directory).source("Shared", "public class Shared { }")
                .leaveOut("Shared")
                .handler("User", "user", "ClassLoader loader = Thread.currentThread()"
                        + ".getContextClassLoader(); return String.valueOf(loader == getClass()"
                        + ".getClassLoader() && loader == Shared.class.getClassLoader()).getBytes();")
                .write(directory.resolve("user.jar"));
        assertEquals("", load(library));
        assertEquals("user\n", load(handler));
        assertEquals("true",
                Replies.successText(dispatcher.answer(Commands.call("user", ""))));
    }

    @Test
    @DisplayName("leave the loader of the thread that added them alone")
    void contextClassLoader() throws IOException {
        Thread thread = Thread.currentThread();
        ClassLoader original = thread.getContextClassLoader();
        Path archive = new ArchiveBuilder(directory).source("Meddler", "public class Meddler implements"
                + " com.ferrolink.core.receiver.CommandHandler { public Meddler() {"
                + " Thread.currentThread().setContextClassLoader(null); }"
                + " public String name() { return \"meddler\"; }"
                + " public byte[] handle(byte[] payload) { return payload; } }").provider("Meddler")
                .write(directory.resolve("meddler.jar"));
        assertArrayEquals(LIBRARY_LOADED, dispatcher.answer(Commands.loadLibrary(archive.toString())));
        assertSame(original, thread.getContextClassLoader());
        assertEquals("x", Replies.successText(dispatcher.answer(Commands.call("meddler", "x"))));
    }
}
