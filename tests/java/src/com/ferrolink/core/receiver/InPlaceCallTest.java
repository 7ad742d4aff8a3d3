package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Path;
import java.util.Arrays;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

@DisplayName("A call in place")
final class InPlaceCallTest {

    private static final int MEBIBYTE = 1 << 20;
    /** Far below a second array of a mebibyte, far above frames of reports, boxes and lambdas. */
    private static final int SMALL = 256 * 1024;

    private final CommandDispatcher dispatcher = new CommandDispatcher(getClass().getClassLoader());

    /** The bytes that this thread allocates during one call, after calls that load classes. */
    private static long allocatedBy(CommandDispatcher dispatcher, byte[] command) {
        com.sun.management.ThreadMXBean threads =
                (com.sun.management.ThreadMXBean) ManagementFactory.getThreadMXBean();
        long thread = Thread.currentThread().getId();
        long allocated = 0;
        for (int call = 0; call < 5; call++) {
            long before = threads.getThreadAllocatedBytes(thread);
            assertEquals(0, dispatcher.answer(command)[10]);
            allocated = threads.getThreadAllocatedBytes(thread) - before;
        }
        return allocated;
    }

    private static void assertBetween(long least, long most, long value) {
        assertTrue(least <= value && value <= most, () -> value + " is not " + least + " to " + most);
    }

    @Test
    @DisplayName("of echo allocates its reply and nothing else as long")
    void echo() {
        assertBetween(MEBIBYTE, MEBIBYTE + SMALL,
                allocatedBy(dispatcher, Commands.call("echo", new byte[MEBIBYTE])));
    }

    @Test
    @DisplayName("of digest allocates no copy of its payload")
    void digest() {
        byte[] payload = new byte[MEBIBYTE];
        byte[] algorithm = Commands.utf8("SHA-256");
        payload[0] = (byte) algorithm.length;
        System.arraycopy(algorithm, 0, payload, 1, algorithm.length);
        assertBetween(32, SMALL, allocatedBy(dispatcher, Commands.call("digest", payload)));
    }

    @Test
    @DisplayName("of a handler with buffers allocates its reply and nothing else as long")
    void buffers(@TempDir Path directory) throws IOException {
        CommandDispatcher listing =
                new CommandDispatcher(ClassPaths.listing(directory, ScriptedBufferHandler.class));
        ScriptedBufferHandler.script = (payload, answer) -> answer.space(payload.remaining()).put(payload);
        assertBetween(MEBIBYTE, MEBIBYTE + SMALL,
                allocatedBy(listing, Commands.call("scripted-buffers", new byte[MEBIBYTE])));
    }

    @Test
    @DisplayName("of echo allocates nothing for the name")
    void name() {
        byte[] command = Commands.call("echo", new byte[0]);
        // An array of 11 bytes behind a header of 16, in steps of 8.
        assertEquals(32, allocatedBy(dispatcher, command));
    }

    @Test
    @DisplayName("answers with bytes of its own")
    void ownBytes() {
        byte[] command = Commands.call("echo", "in");
        byte[] first = dispatcher.answer(command);
        first[11] = 'o';
        assertEquals("in", Replies.successText(dispatcher.answer(command)));
    }

    @Test
    @DisplayName("of a built-in handler works with arrays, too")
    void arrays() throws Exception {
        assertArrayEquals(Commands.utf8("in"), new EchoHandler().handle(Commands.utf8("in")));
    }

    @Test
    @DisplayName("finds each of a thousand handlers by the bytes of its name, and no other")
    void manyNames() {
        HandlerTable table = new HandlerTable();
        RegisteredHandler[] handlers = new RegisteredHandler[1000];
        for (int index = 0; index < handlers.length; index++) {
            handlers[index] = new RegisteredHandler("größe-" + index, new EchoHandler());
            assertEquals(null, table.putIfAbsent(Commands.utf8(handlers[index].name()), handlers[index]));
        }
        for (RegisteredHandler handler : handlers) {
            byte[] bytes = Commands.utf8("..." + handler.name() + "...");
            assertEquals(handler, table.find(bytes, 3, bytes.length - 6));
            assertEquals(null, table.find(bytes, 2, bytes.length - 6));
            assertEquals(null, table.find(bytes, 3, 0));
            assertEquals(handler, table.putIfAbsent(Commands.utf8(handler.name()), handlers[0]));
        }
        assertEquals(1000, table.names().size());
        assertEquals(true, table.names().containsAll(Arrays.asList("größe-0", "größe-999")));
    }
}
