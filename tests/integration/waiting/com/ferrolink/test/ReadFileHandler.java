package com.ferrolink.test;

import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;

/** Answers with the bytes of the file that the payload names; of a pipe it waits for them. */
public final class ReadFileHandler implements CommandHandler {

    @Override
    public String name() {
        return "read-file";
    }

    @Override
    public byte[] handle(byte[] payload) throws Exception {
        return Files.readAllBytes(Paths.get(new String(payload, StandardCharsets.UTF_8)));
    }
}
