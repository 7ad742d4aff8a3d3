package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.function.Function;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("A registered listener")
final class CallbackSlotTest {

    private static final CommandListener LISTENER = command -> command;

    private final FakeCalls calls = new FakeCalls();
    private final CallbackSlot slot = new CallbackSlot(calls);

    private Object registered() {
        return calls.callbacks.get(calls.callbacks.size() - 1);
    }

    @Test
    @DisplayName("is given to the native library as an object with apply(Object)")
    void register() throws Exception {
        CommandRegistration registration = slot.set(LISTENER);
        assertTrue(registration.isActive());
        assertEquals(1, calls.callbacks.size());
        assertTrue(registered() instanceof Function);
        assertEquals(Object.class,
                registered().getClass().getMethod("apply", Object.class).getReturnType());
    }

    @Test
    @DisplayName("is unregistered by closing its registration, once")
    void close() {
        CommandRegistration registration = slot.set(LISTENER);
        registration.close();
        registration.close();
        assertFalse(registration.isActive());
        assertEquals(2, calls.callbacks.size());
        assertNull(registered());
    }

    @Test
    @DisplayName("is not unregistered by closing the registration of one that it replaced")
    void replaced() {
        CommandRegistration first = slot.set(LISTENER);
        CommandRegistration second = slot.set(LISTENER);
        assertFalse(first.isActive());
        first.close();
        assertTrue(second.isActive());
        assertEquals(2, calls.callbacks.size());
        second.close();
        assertNull(registered());
    }

    @Test
    @DisplayName("that is there already is not replaced by one for objects")
    void setIfEmpty() {
        CommandRegistration own = slot.set(LISTENER);
        slot.setIfEmpty(LISTENER);
        assertEquals(1, calls.callbacks.size());
        assertTrue(own.isActive());
        own.close();
        slot.setIfEmpty(LISTENER);
        assertTrue(registered() instanceof Function);
        slot.setIfEmpty(LISTENER);
        assertEquals(3, calls.callbacks.size());
    }

    @Test
    @DisplayName("is unregistered by registering null")
    void unregister() {
        CommandRegistration first = slot.set(LISTENER);
        CommandRegistration none = slot.set(null);
        assertFalse(first.isActive());
        assertFalse(none.isActive());
        first.close();
        none.close();
        assertEquals(2, calls.callbacks.size());
        assertNull(registered());
    }

    @Test
    @DisplayName("is registered and unregistered under the slot's lock")
    void locked() {
        calls.beforeCallback = () -> assertTrue(Thread.holdsLock(slot));
        slot.set(LISTENER).close();
        slot.set(null);
        assertEquals(3, calls.callbacks.size());
    }

    @Test
    @DisplayName("is the one that the native library has, however many threads register")
    void concurrent() throws Exception {
        CommandRegistration[] made = new CommandRegistration[8];
        Threads.onEach(made.length, false, index -> {
            for (int round = 0; round < 1000; round++) {
                if (made[index] != null && round % 3 == 0) {
                    made[index].close();
                }
                made[index] = slot.set(LISTENER);
            }
        });
        int active = 0;
        for (CommandRegistration registration : made) {
            active += registration.isActive() ? 1 : 0;
        }
        assertEquals(1, active);
        assertTrue(registered() instanceof Function);
        for (CommandRegistration registration : made) {
            registration.close();
        }
        assertNull(registered());
    }
}
