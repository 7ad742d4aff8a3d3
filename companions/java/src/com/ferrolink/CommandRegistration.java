package com.ferrolink;

/**
 * A registered {@link CommandListener}. Closing it unregisters the listener.
 *
 * <p><b>Threads:</b> thread-safe.
 */
public final class CommandRegistration implements AutoCloseable {

    private final CallbackSlot slot;

    CommandRegistration(CallbackSlot slot) {
        this.slot = slot;
    }

    /**
     * Whether commands still go to this registration's listener.
     *
     * @return false after {@link #close}, or after another listener replaced this one
     */
    public boolean isActive() {
        return slot.holds(this);
    }

    /**
     * Unregisters the listener: later commands from other runtimes fail. Idempotent, and a no-op if
     * another listener replaced this one. Does not wait for running commands, which are answered.
     */
    @Override
    public void close() {
        slot.clear(this);
    }
}
