package com.example.wrong;

import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;

/** A wrong Java handler, which the examples must detect: it answers without asking C++. */
public final class WrongSentenceHandler implements CommandHandler {

    @Override
    public String name() {
        return "sentences";
    }

    @Override
    public byte[] handle(byte[] payload) {
        return "e0edae72  30 words: Made up.\n".getBytes(StandardCharsets.UTF_8);
    }
}
