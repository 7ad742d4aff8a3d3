package com.ferrolink;

/**
 * The one listener of the process. The lock keeps the native registration and {@code current}
 * consistent. It is not held while commands are answered.
 */
final class CallbackSlot {

    // Guarded by the class.
    private static CallbackSlot ofProcess;

    private final NativeCalls calls;
    private CommandRegistration current;

    CallbackSlot(NativeCalls calls) {
        this.calls = calls;
    }

    /** The slot of the process. The first registration creates it. */
    static synchronized CallbackSlot ofProcess(NativeCalls calls) {
        if (ofProcess == null) {
            ofProcess = new CallbackSlot(calls);
        }
        return ofProcess;
    }

    /** Replaces the listener. Null unregisters it and returns an inactive registration. */
    synchronized CommandRegistration set(CommandListener listener) {
        CommandRegistration registration = new CommandRegistration(this);
        if (listener == null) {
            calls.setCallback(null);
            current = null;
        } else {
            calls.setCallback(new CommandCallback(listener));
            current = registration;
        }
        return registration;
    }

    /** Registers a listener unless there is one. */
    synchronized void setIfEmpty(CommandListener listener) {
        if (current == null) {
            set(listener);
        }
    }

    synchronized void clear(CommandRegistration registration) {
        if (current == registration) {
            calls.setCallback(null);
            current = null;
        }
    }

    synchronized boolean holds(CommandRegistration registration) {
        return current == registration;
    }
}
