package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.Arrays;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("Commands")
final class CommandBytesTest {

    private final FakeCalls calls = new FakeCalls();

    private Ferrolink to(Target target) {
        return new Ferrolink(target, calls, PlatformThreads.shared(), TimedThreads.shared());
    }

    private Ferrolink toCpp() {
        return to(Target.inMemory(RuntimeId.CPP));
    }

    private void assertRefused(String text, Executable call) {
        assertEquals(text, assertThrows(IllegalArgumentException.class, call).getMessage());
        assertTrue(calls.sent.isEmpty());
    }

    @Test
    @DisplayName("that call a handler in this process have exactly these bytes")
    void call() {
        byte[] payload = {-1, 0, 127};
        toCpp().call("echo", payload);
        assertArrayEquals(new byte[] {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 2, 4, 'e', 'c', 'h', 'o', -1, 0, 127},
                calls.onlyCommand());
        assertArrayEquals(new byte[] {-1, 0, 127}, payload);
    }

    @Test
    @DisplayName("over TCP have octets in written order and a little-endian port")
    void tcp() {
        to(Target.tcp(RuntimeId.PYTHON, "127.0.0.1", 8080)).call("f", new byte[0]);
        assertArrayEquals(new byte[] {5, 0, 1, 127, 0, 0, 1, (byte) 0x90, 0x1F, 2, 2, 1, 'f'},
                calls.onlyCommand());
    }

    @Test
    @DisplayName("over TLS have channel type 2, and bytes above 127 are sent as they are")
    void tls() {
        to(Target.tls(RuntimeId.PYTHON2, "255.200.128.10", 65535)).call("f", new byte[0]);
        assertArrayEquals(new byte[] {10, 0, 2, -1, (byte) 200, (byte) 128, 10, -1, -1, 2, 2, 1, 'f'},
                calls.onlyCommand());
    }

    @Test
    @DisplayName("that are heartbeats carry the two digits 12")
    void heartbeat() {
        toCpp().heartbeat();
        assertArrayEquals(new byte[] {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 11, 0x31, 0x32},
                calls.onlyCommand());
    }

    @Test
    @DisplayName("that load a library have its path in UTF-8 from byte 24 to their end")
    void loadLibrary() {
        to(Target.tcp(RuntimeId.RUBY, "10.0.0.7", 1)).loadLibrary("/ü.so");
        byte[] expected = Arrays.copyOf(new byte[] {6, 0, 1, 10, 0, 0, 7, 1, 0, 2, 1}, 30);
        System.arraycopy("/ü.so".getBytes(StandardCharsets.UTF_8), 0, expected, 24, 6);
        assertArrayEquals(expected, calls.onlyCommand());
    }

    @Test
    @DisplayName("that load a library take the text of a path as it is")
    void loadLibraryPath() {
        toCpp().loadLibrary(Path.of("libs", "one.so"));
        byte[] command = calls.onlyCommand();
        assertEquals("libs/one.so",
                new String(command, 24, command.length - 24, StandardCharsets.UTF_8));
    }

    @ParameterizedTest
    @EnumSource(RuntimeId.class)
    @DisplayName("name their target by its number")
    void runtimes(RuntimeId runtime) {
        to(Target.inMemory(runtime)).heartbeat();
        assertEquals(runtime.code(), calls.onlyCommand()[0]);
        assertEquals(runtime.code(), calls.buffers.get(0)[0]);
    }

    @ParameterizedTest
    @ValueSource(ints = {1, 127, 128, 255})
    @DisplayName("take names of 1 to 255 bytes, whose length is one unsigned byte")
    void nameLengths(int size) {
        char[] name = new char[size];
        Arrays.fill(name, 'n');
        toCpp().call(new String(name), new byte[] {9});
        byte[] command = calls.onlyCommand();
        assertEquals(11 + 1 + size + 1, command.length);
        assertEquals((byte) size, command[11]);
        assertEquals('n', command[11 + size]);
        assertEquals(9, command[12 + size]);
    }

    @Test
    @DisplayName("count the bytes of a name, not its characters")
    void nameInBytes() {
        char[] name = new char[128];
        Arrays.fill(name, 'ü');
        assertRefused("A handler's name has 1 to 255 bytes in UTF-8, not 256.",
                () -> toCpp().call(new String(name), new byte[0]));
    }

    @Test
    @DisplayName("refuse an empty name and one that is no Unicode text")
    void badNames() {
        assertRefused("A handler's name has 1 to 255 bytes in UTF-8, not 0.",
                () -> toCpp().call("", new byte[0]));
        assertRefused("The handler is no valid Unicode text.",
                () -> toCpp().call("a\uD800b", new byte[0]));
    }

    @Test
    @DisplayName("refuse null")
    void nulls() {
        Ferrolink cpp = toCpp();
        assertEquals("handler",
                assertThrows(NullPointerException.class, () -> cpp.call(null, new byte[0])).getMessage());
        assertEquals("payload",
                assertThrows(NullPointerException.class, () -> cpp.call("f", null)).getMessage());
        assertEquals("path", assertThrows(NullPointerException.class,
                () -> cpp.loadLibrary((String) null)).getMessage());
        assertThrows(NullPointerException.class, () -> cpp.loadLibrary((Path) null));
        assertTrue(calls.sent.isEmpty());
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "\0", "a\0b", "a\0"})
    @DisplayName("refuse paths that would be cut off")
    void badPaths(String path) {
        assertRefused("A library's path is not empty and has no zero characters.",
                () -> toCpp().loadLibrary(path));
    }

    @Test
    @DisplayName("refuse sizes that no array can have")
    void tooLong() {
        CommandBuilder.requireRoom(Integer.MAX_VALUE - 8);
        assertRefused("A command of 2147483640 bytes is longer than an array can be.",
                () -> CommandBuilder.requireRoom(Integer.MAX_VALUE - 7));
    }
}
