package com.ferrolink.soak;

import com.ferrolink.core.receiver.CommandHandler;

/** Answers with the inverted bytes. */
public final class InvertHandler implements CommandHandler {

    @Override
    public String name() {
        return "invert";
    }

    @Override
    public byte[] handle(byte[] payload) {
        for (int i = 0; i < payload.length; i++) {
            payload[i] = (byte) ~payload[i];
        }
        return payload;
    }
}
