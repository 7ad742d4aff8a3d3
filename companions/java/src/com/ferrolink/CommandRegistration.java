package com.ferrolink;

/**
 * A registered {@link CommandListener}; closing it unregisters the listener.
 *
 * <p><b>Threads:</b> safe for any thread.
 */
public final class CommandRegistration implements AutoCloseable {

    private final CallbackSlot slot;

    CommandRegistration(CallbackSlot slot) {
        this.slot = slot;
    }

    /**
     * Whether commands still go to this registration's listener.
     *
     * @return false once it was closed or another listener took its place
     */
    public boolean isActive() {
        return slot.holds(this);
    }

    /**
     * Unregisters the listener; commands from other runtimes fail from then on. Has no effect if this
     * was done before or another listener has taken its place. Does not wait: commands that the
     * listener is just answering are answered.
     */
    @Override
    public void close() {
        slot.clear(this);
    }
}
