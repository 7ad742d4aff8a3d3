package com.ferrolink;

/**
 * The process's one place for a listener. The lock makes the native registration and what is known
 * of it here change together; it is not held while commands are answered.
 */
final class CallbackSlot {

    private final NativeCalls calls;
    private CommandRegistration current;

    CallbackSlot(NativeCalls calls) {
        this.calls = calls;
    }

    /** Replaces the listener; null for none. The registration returned is inactive then. */
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
