package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Path;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

@DisplayName("A call of a handler")
final class HandlerCallTest {

    private CommandDispatcher dispatcher;

    @BeforeEach
    void listScriptedHandler(@TempDir Path directory) throws IOException {
        dispatcher = new CommandDispatcher(ClassPaths.listing(directory, ScriptedHandler.class));
    }

    private byte[] call(ScriptedHandler.Script script) {
        ScriptedHandler.script = script;
        return dispatcher.answer(Commands.call("scripted", "in"));
    }

    private String failureOf(ScriptedHandler.Script script) {
        return Replies.exceptionText(call(script));
    }

    @Test
    @DisplayName("hands over the payload and replies with the result")
    void result() {
        assertEquals("in!", Replies.successText(
                call(payload -> (new String(payload, "UTF-8") + "!").getBytes("UTF-8"))));
    }

    @Test
    @DisplayName("gives the handler an array that is its own")
    void ownPayload() {
        byte[] command = Commands.call("scripted", "in");
        byte[] untouched = command.clone();
        ScriptedHandler.script = payload -> {
            payload[0] = 'o';
            return payload;
        };
        assertEquals("on", Replies.successText(dispatcher.answer(command)));
        assertArrayEquals(untouched, command);
    }

    @Test
    @DisplayName("that ends with null is answered with a text that names the handler")
    void nullResult() {
        assertEquals("Handler 'scripted' (com.ferrolink.core.receiver.ScriptedHandler in "
                + ClassPaths.originOf(ScriptedHandler.class) + ") returned null instead of bytes.",
                failureOf(payload -> null));
    }

    @Test
    @DisplayName("that throws an exception is answered with class, message and frames")
    void exception() {
        String text = failureOf(payload -> {
            throw new IOException("disk full");
        });
        assertTrue(text.startsWith("java.io.IOException: disk full\n    at com.ferrolink.core.receiver."
                + "HandlerCallTest.lambda$exception$"), text);
        assertTrue(text.contains("\n    at com.ferrolink.core.receiver.ScriptedHandler.handle("
                + "ScriptedHandler.java:"), text);
    }

    @Test
    @DisplayName("that overflows the stack is answered, and the next call works")
    void stackOverflow() {
        String text = failureOf(payload -> new byte[recurse(0)]);
        assertTrue(text.startsWith("java.lang.StackOverflowError\n    at com.ferrolink.core.receiver."
                + "HandlerCallTest.recurse(HandlerCallTest.java:"), text);
        assertTrue(text.endsWith("\n    ... 924 more frames\n"), text);
        result();
    }

    private static int recurse(int depth) {
        return recurse(depth + 1) + 1;
    }

    @Test
    @DisplayName("that asks for more memory than there is is answered, and the next call works")
    void outOfMemory() {
        String text = failureOf(payload -> new byte[Integer.MAX_VALUE]);
        assertTrue(text.startsWith("java.lang.OutOfMemoryError: Requested array size exceeds VM limit\n"),
                text);
        result();
    }

    @Test
    @DisplayName("that dies of ThreadDeath is answered")
    void threadDeath() {
        String text = failureOf(payload -> {
            throw new ThreadDeath();
        });
        assertTrue(text.startsWith("java.lang.ThreadDeath\n    at "), text);
    }

    @Test
    @DisplayName("that throws something without message, frames or manners is answered")
    void hostileThrowable() {
        assertEquals("com.ferrolink.core.receiver.HostileError (message unavailable:"
                + " java.lang.UnsupportedOperationException)\n"
                + "    (frames unavailable: java.lang.UnsupportedOperationException)\n",
                failureOf(payload -> {
                    throw new HostileError();
                }));
    }

    @Test
    @DisplayName("runs with the handler's own loader as context class loader and restores the caller's")
    void contextClassLoader() {
        Thread thread = Thread.currentThread();
        ClassLoader original = thread.getContextClassLoader();
        ClassLoader callers = new ClassLoader(null) { };
        ClassLoader[] during = new ClassLoader[1];
        thread.setContextClassLoader(callers);
        try {
            Replies.successBody(call(payload -> {
                during[0] = thread.getContextClassLoader();
                thread.setContextClassLoader(null);
                return payload;
            }));
            assertSame(ScriptedHandler.class.getClassLoader(), during[0]);
            assertSame(callers, thread.getContextClassLoader());
            failureOf(payload -> {
                throw new IllegalStateException();
            });
            assertSame(callers, thread.getContextClassLoader());
        } finally {
            thread.setContextClassLoader(original);
        }
    }

    @Test
    @DisplayName("may send commands of its own")
    void nested() {
        assertEquals("in", Replies.successText(call(
            payload -> Replies.successBody(dispatcher.answer(Commands.call("echo", payload))))));
    }
}
