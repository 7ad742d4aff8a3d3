package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ReadOnlyBufferException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

@DisplayName("A handler with buffers")
final class BufferHandlerTest {

    private CommandDispatcher dispatcher;
    private AnswerOutput kept;
    private ByteBuffer seen;

    @BeforeEach
    void listScriptedHandler(@TempDir Path directory) throws IOException {
        dispatcher = new CommandDispatcher(ClassPaths.listing(directory, ScriptedBufferHandler.class));
    }

    private byte[] call(String payload, ScriptedBufferHandler.Script script) {
        ScriptedBufferHandler.script = script;
        return dispatcher.answer(Commands.call("scripted-buffers", payload));
    }

    private String answer(String payload, ScriptedBufferHandler.Script script) {
        return Replies.successText(call(payload, script));
    }

    private String failure(ScriptedBufferHandler.Script script) {
        String text = Replies.exceptionText(call("in", script));
        return text.substring(0, text.indexOf('\n'));
    }

    @Test
    @DisplayName("gets the payload from position 0 to its limit, big-endian")
    void payload() {
        assertEquals("payload", answer("payload", (payload, answer) -> {
            seen = payload;
            answer.write(payload);
        }));
        assertEquals(7, seen.position());
        assertEquals(7, seen.limit());
        assertEquals(7, seen.capacity());
        assertSame(ByteOrder.BIG_ENDIAN, seen.order());
    }

    @Test
    @DisplayName("cannot change the command")
    void readOnly() {
        byte[] command = Commands.call("scripted-buffers", "in");
        byte[] untouched = command.clone();
        ScriptedBufferHandler.script = (payload, answer) -> {
            assertTrue(payload.isReadOnly());
            assertThrows(ReadOnlyBufferException.class, () -> payload.put(0, (byte) 'o'));
            assertThrows(ReadOnlyBufferException.class, payload::array);
        };
        assertEquals("", Replies.successText(dispatcher.answer(command)));
        assertArrayEquals(untouched, command);
    }

    @Test
    @DisplayName("gets an empty payload as an empty buffer")
    void emptyPayload() {
        assertEquals("0", answer("", (payload, answer) -> answer.write('0' + payload.remaining())));
    }

    @Test
    @DisplayName("that writes nothing answers nothing")
    void nothing() {
        assertEquals("", answer("in", (payload, answer) -> { }));
        assertEquals("", answer("in", (payload, answer) -> answer.expect(100)));
        assertEquals("", answer("in", (payload, answer) -> answer.space(0)));
    }

    @Test
    @DisplayName("answers what all ways of writing wrote, in order")
    void ways() {
        assertEquals("abcdefghij", answer("in", (payload, answer) -> {
            answer.write('a');
            answer.write(new byte[] {'b', 'c'});
            answer.write(new byte[] {'x', 'd', 'e', 'x'}, 1, 2);
            answer.space(2).put((byte) 'f').put((byte) 'g');
            answer.write(ByteBuffer.wrap(new byte[] {'x', 'h', 'i'}, 1, 2));
            answer.write('j' + 0x100);
            assertEquals(10, answer.size());
        }));
    }

    @Test
    @DisplayName("answers with zeros where space was not overwritten, also after the output grew")
    void zeros() {
        assertArrayEquals(new byte[] {1, 0, 0, 2, 0}, Replies.successBody(call("in", (payload, answer) -> {
            answer.expect(2);
            answer.write(1);
            answer.space(2);
            answer.space(2).put((byte) 2);
        })));
    }

    @Test
    @DisplayName("answers exactly what it wrote when it announced more, or less")
    void expectations() {
        assertEquals("abc", answer("in", (payload, answer) -> {
            answer.expect(1000);
            answer.write(new byte[] {'a', 'b', 'c'});
        }));
        assertEquals("abc", answer("in", (payload, answer) -> {
            answer.write('a');
            answer.expect(2);
            answer.write(new byte[] {'b', 'c'});
        }));
    }

    @Test
    @DisplayName("that fails after it wrote is answered with the failure alone")
    void failureAfterWriting() {
        assertEquals("java.io.IOException: disk full", failure((payload, answer) -> {
            answer.write('a');
            throw new IOException("disk full");
        }));
    }

    @Test
    @DisplayName("is told of sizes that no answer can have, and can go on")
    void impossibleSizes() {
        String negative = "java.lang.IllegalArgumentException: An answer cannot have -1 bytes.";
        assertEquals(negative, failure((payload, answer) -> answer.space(-1)));
        assertEquals(negative, failure((payload, answer) -> answer.expect(-1)));
        String long1 = "java.lang.IllegalArgumentException: An answer of 2147483647 bytes is longer than an"
                + " array can be.";
        assertEquals(long1, failure((payload, answer) -> answer.expect(Integer.MAX_VALUE)));
        assertEquals(long1, failure((payload, answer) -> answer.space(Integer.MAX_VALUE)));
        assertEquals("ab", answer("in", (payload, answer) -> {
            answer.write('a');
            assertThrows(IllegalArgumentException.class, () -> answer.space(Integer.MAX_VALUE));
            assertThrows(IndexOutOfBoundsException.class, () -> answer.write(new byte[2], 1, 2));
            answer.write('b');
        }));
    }

    @Test
    @DisplayName("cannot write once its call is over")
    void afterwards() {
        assertEquals("a", answer("in", (payload, answer) -> {
            answer.write('a');
            kept = answer;
        }));
        assertEquals("The call is over: its answer cannot be written any more.",
                assertThrows(IllegalStateException.class, () -> kept.write('b')).getMessage());
        assertThrows(IllegalStateException.class, () -> kept.space(1));
        assertThrows(IllegalStateException.class, () -> kept.expect(1));
    }

    @Test
    @DisplayName("runs with its own loader as the context class loader, which is restored")
    void contextClassLoader() {
        Thread thread = Thread.currentThread();
        ClassLoader before = thread.getContextClassLoader();
        thread.setContextClassLoader(null);
        try {
            call("in", (payload, answer) ->
                    assertSame(ScriptedBufferHandler.class.getClassLoader(), thread.getContextClassLoader()));
            assertSame(null, thread.getContextClassLoader());
        } finally {
            thread.setContextClassLoader(before);
        }
    }

    @Test
    @DisplayName("can be called with arrays by a program")
    void arrays() throws Exception {
        ScriptedBufferHandler.script = (payload, answer) -> {
            answer.write(payload);
            answer.write('!');
        };
        byte[] payload = {'i', 'n'};
        assertEquals("in!", new String(new ScriptedBufferHandler().handle(payload), StandardCharsets.UTF_8));
    }
}
