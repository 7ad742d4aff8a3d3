package com.ferrolink.core.receiver;

/** Built-in handler {@code echo}: replies with the payload. */
final class EchoHandler implements CommandHandler {

    @Override
    public String name() {
        return "echo";
    }

    @Override
    public byte[] handle(byte[] payload) {
        return payload;
    }
}
