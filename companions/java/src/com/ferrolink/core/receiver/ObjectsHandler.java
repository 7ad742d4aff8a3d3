package com.ferrolink.core.receiver;

import com.ferrolink.core.objects.ObjectBroker;
import java.nio.charset.StandardCharsets;

/** Built-in handler {@code objects}: typed calls, see {@link ObjectBroker}. */
final class ObjectsHandler implements CommandHandler {

    private static final byte[] NAME = ObjectBroker.HANDLER.getBytes(StandardCharsets.UTF_8);

    private final ObjectBroker broker;

    ObjectsHandler(HandlerDiscovery discovery) {
        broker = new ObjectBroker(discovery::loader, ExceptionReport::render);
    }

    @Override
    public String name() {
        return ObjectBroker.HANDLER;
    }

    @Override
    public byte[] handle(byte[] payload) {
        return broker.answer(payload, 0, payload.length, 0);
    }

    /** Whether a call is for this handler; told by the bytes, without a text of the name. */
    boolean isFor(byte[] command) {
        return CommandFrame.isCallOf(command, NAME);
    }

    /** Answers such a call as a whole: without a copy of the request or of the reply. */
    byte[] answer(byte[] command) {
        byte[] reply = broker.answer(command, CommandFrame.payloadStart(command), command.length,
                CommandFrame.HEADER_SIZE);
        ReplyFrame.putSuccess(reply, CommandFrame.callerOf(command));
        return reply;
    }
}
