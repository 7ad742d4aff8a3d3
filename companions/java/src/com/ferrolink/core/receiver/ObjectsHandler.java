package com.ferrolink.core.receiver;

import com.ferrolink.core.objects.ObjectBroker;
import com.ferrolink.core.protocol.CommandHeader;
import java.nio.charset.StandardCharsets;

/** Built-in handler {@code objects}: typed calls, see {@link ObjectBroker}. */
final class ObjectsHandler implements CommandHandler {

    private static final byte[] NAME = ObjectBroker.HANDLER.getBytes(StandardCharsets.UTF_8);

    private final HandlerDiscovery discovery;
    /** The first call creates it, so that a JVM without typed calls starts faster. */
    private volatile ObjectBroker broker;

    ObjectsHandler(HandlerDiscovery discovery) {
        this.discovery = discovery;
    }

    @Override
    public String name() {
        return ObjectBroker.HANDLER;
    }

    @Override
    public byte[] handle(byte[] payload) {
        return broker().answer(payload, 0, payload.length, 0);
    }

    private ObjectBroker broker() {
        ObjectBroker created = broker;
        if (created == null) {
            // Brokers of one discovery are equivalent, so a race is harmless.
            created = new ObjectBroker(discovery::loader, ExceptionReport::render);
            broker = created;
        }
        return created;
    }

    /** Whether a call is for this handler. Compares bytes and creates no text of the name. */
    boolean isFor(byte[] command) {
        return CommandFrame.isCallOf(command, NAME);
    }

    /** Answers such a call as a whole: without a copy of the request or of the reply. */
    byte[] answer(byte[] command) {
        byte[] reply = broker().answer(command, CommandFrame.payloadStart(command), command.length,
                CommandHeader.SIZE);
        return ReplyFrame.address(CommandFrame.callerOf(command), reply);
    }
}
