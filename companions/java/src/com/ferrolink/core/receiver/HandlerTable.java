package com.ferrolink.core.receiver;

import java.util.ArrayList;
import java.util.List;

/**
 * Handlers by the UTF-8 bytes of their names, so that a look-up compares bytes in place and allocates
 * nothing. Handlers are added and never removed. Thread-safe; looking up takes no lock.
 */
final class HandlerTable {

    private static final int FIRST_SIZE = 32;

    /** One handler and the bytes of its name. Immutable. */
    private static final class Entry {
        final byte[] name;
        final RegisteredHandler handler;

        Entry(byte[] name, RegisteredHandler handler) {
            this.name = name;
            this.handler = handler;
        }
    }

    /**
     * Open addressing: an entry is in the slot of its hash, or in one of the next ones without a gap. The
     * length is a power of two, and at most half of the slots are used. Never changed, only replaced.
     */
    private volatile Entry[] slots = new Entry[FIRST_SIZE];

    /** Guarded by this. */
    private int count;

    /** The handler whose name is in that part of the array; null if there is none. */
    RegisteredHandler find(byte[] bytes, int start, int size) {
        Entry[] current = slots;
        Entry found = current[slotOf(current, bytes, start, size)];
        return found == null ? null : found.handler;
    }

    /** Adds a handler, unless one has that name: then returns that one, else null. Owns the name. */
    synchronized RegisteredHandler putIfAbsent(byte[] name, RegisteredHandler handler) {
        RegisteredHandler first = find(name, 0, name.length);
        if (first != null) {
            return first;
        }
        Entry[] current = slots;
        Entry[] next = new Entry[2 * (count + 1) > current.length ? 2 * current.length : current.length];
        for (Entry entry : current) {
            if (entry != null) {
                put(next, entry);
            }
        }
        put(next, new Entry(name, handler));
        count++;
        slots = next;
        return null;
    }

    /** All names, in no order. */
    List<String> names() {
        List<String> names = new ArrayList<>();
        for (Entry entry : slots) {
            if (entry != null) {
                names.add(entry.handler.name());
            }
        }
        return names;
    }

    private static void put(Entry[] slots, Entry entry) {
        slots[slotOf(slots, entry.name, 0, entry.name.length)] = entry;
    }

    /** The slot with that name, or the free one in which it belongs. */
    private static int slotOf(Entry[] slots, byte[] bytes, int start, int size) {
        int hash = 0;
        for (int index = start; index < start + size; index++) {
            hash = 31 * hash + bytes[index];
        }
        int slot = (hash ^ hash >>> 16) & slots.length - 1;
        while (slots[slot] != null && !isAt(slots[slot].name, bytes, start, size)) {
            slot = slot + 1 & slots.length - 1;
        }
        return slot;
    }

    private static boolean isAt(byte[] name, byte[] bytes, int start, int size) {
        if (name.length != size) {
            return false;
        }
        for (int index = 0; index < size; index++) {
            if (name[index] != bytes[start + index]) {
                return false;
            }
        }
        return true;
    }
}
