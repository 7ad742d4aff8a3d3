package com.ferrolink.soak;

import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;

/** Answers with the figures of its process. */
public final class FiguresHandler implements CommandHandler {

    @Override
    public String name() {
        return "figures";
    }

    @Override
    public byte[] handle(byte[] payload) {
        return Figures.json().getBytes(StandardCharsets.UTF_8);
    }
}
