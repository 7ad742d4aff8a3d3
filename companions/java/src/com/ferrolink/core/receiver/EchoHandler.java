package com.ferrolink.core.receiver;

/** Built-in handler {@code echo}: replies with the payload. */
final class EchoHandler implements InPlaceHandler {

    @Override
    public String name() {
        return "echo";
    }

    @Override
    public byte[] reply(byte[] command, int start) {
        return ReplyFrame.withRoom(command, start);
    }
}
