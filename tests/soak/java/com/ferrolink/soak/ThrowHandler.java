package com.ferrolink.soak;

import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;

/** Throws an exception with the payload as the message. */
public final class ThrowHandler implements CommandHandler {

    @Override
    public String name() {
        return "throw";
    }

    @Override
    public byte[] handle(byte[] payload) {
        throw new IllegalStateException(new String(payload, StandardCharsets.UTF_8),
                new IllegalArgumentException("a cause"));
    }
}
