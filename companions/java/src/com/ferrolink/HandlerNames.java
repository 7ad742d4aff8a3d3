package com.ferrolink;

import com.ferrolink.core.protocol.CommandHeader;
import java.util.concurrent.ConcurrentHashMap;

/**
 * The names of handlers in UTF-8. Encodes each of the first {@link #MOST_KEPT} names once. Thread-safe.
 */
final class HandlerNames {

    /** Programs that make up names do not fill the memory: further names are encoded each time. */
    static final int MOST_KEPT = 1024;

    private static final ConcurrentHashMap<String, byte[]> ENCODED = new ConcurrentHashMap<>();

    private HandlerNames() {
    }

    /**
     * The bytes of a name, which must not be changed.
     *
     * @throws IllegalArgumentException if it is empty, too long or no valid Unicode text
     */
    static byte[] encode(String handler) {
        byte[] known = handler == null ? null : ENCODED.get(handler);
        if (known != null) {
            return known;
        }
        byte[] name = CommandBuilder.encode("handler", handler);
        if (name.length == 0 || name.length > CommandHeader.LONGEST_NAME) {
            throw new IllegalArgumentException("A handler's name has 1 to 255 bytes in UTF-8, not "
                    + name.length + ".");
        }
        if (ENCODED.size() < MOST_KEPT) {
            ENCODED.put(handler, name);
        }
        return name;
    }

    /** The number of names that are kept. */
    static int count() {
        return ENCODED.size();
    }
}
