package com.ferrolink.core.receiver;

import java.nio.ByteBuffer;
import java.security.CodeSource;
import java.util.Arrays;

/** A handler, its name and its class loader. Thread-safe. */
final class RegisteredHandler {

    /** How a handler takes its payload and makes its reply. */
    private interface Form {
        byte[] reply(byte[] command, int start) throws Exception;
    }

    private final String name;
    private final CommandHandler handler;
    private final ClassLoader loader;
    private final Form form;

    RegisteredHandler(String name, CommandHandler handler) {
        this.name = name;
        this.handler = handler;
        this.loader = handler.getClass().getClassLoader();
        if (handler instanceof InPlaceHandler) {
            form = ((InPlaceHandler) handler)::reply;
        } else if (handler instanceof BufferHandler) {
            form = this::replyOfBuffers;
        } else {
            form = this::replyOfArrays;
        }
    }

    String name() {
        return name;
    }

    /**
     * Calls the handler with its own loader as the thread's context class loader.
     *
     * @param command the command
     * @param start the offset of the payload, which ends with the command
     * @return room for a header, all zero, and the bytes to reply with
     */
    byte[] reply(byte[] command, int start) throws Exception {
        Thread thread = Thread.currentThread();
        ClassLoader previous = thread.getContextClassLoader();
        if (previous != loader) {
            thread.setContextClassLoader(loader);
        }
        try {
            return form.reply(command, start);
        } finally {
            if (thread.getContextClassLoader() != previous) {
                thread.setContextClassLoader(previous);
            }
        }
    }

    private byte[] replyOfArrays(byte[] command, int start) throws Exception {
        byte[] result = handler.handle(Arrays.copyOfRange(command, start, command.length));
        if (result == null) {
            throw new CommandRejectedException("Handler '" + name + "' (" + origin(handler.getClass())
                    + ") returned null instead of bytes.");
        }
        return ReplyFrame.withRoom(result, 0);
    }

    private byte[] replyOfBuffers(byte[] command, int start) throws Exception {
        ByteBuffer payload = ByteBuffer.wrap(command, start, command.length - start);
        AnswerOutput answer = new AnswerOutput();
        ((BufferHandler) handler).handle(payload.slice().asReadOnlyBuffer(), answer);
        return answer.finish();
    }

    String origin() {
        return origin(handler.getClass());
    }

    /** A class and, if known, its archive or directory. */
    static String origin(Class<?> type) {
        CodeSource source = type.getProtectionDomain().getCodeSource();
        return source == null || source.getLocation() == null
                ? type.getName()
                : type.getName() + " in " + source.getLocation().getPath();
    }
}
