package com.ferrolink.core.receiver;

import java.security.CodeSource;

/** A handler, its name and its class loader. Thread-safe. */
final class RegisteredHandler {

    private final String name;
    private final CommandHandler handler;
    private final ClassLoader loader;

    RegisteredHandler(String name, CommandHandler handler) {
        this.name = name;
        this.handler = handler;
        this.loader = handler.getClass().getClassLoader();
    }

    /** Calls the handler with its own loader as the thread's context class loader. */
    byte[] call(byte[] payload) throws Exception {
        Thread thread = Thread.currentThread();
        ClassLoader previous = thread.getContextClassLoader();
        if (previous != loader) {
            thread.setContextClassLoader(loader);
        }
        byte[] result;
        try {
            result = handler.handle(payload);
        } finally {
            if (thread.getContextClassLoader() != previous) {
                thread.setContextClassLoader(previous);
            }
        }
        if (result == null) {
            throw new CommandRejectedException("Handler '" + name + "' (" + origin(handler.getClass())
                    + ") returned null instead of bytes.");
        }
        return result;
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
