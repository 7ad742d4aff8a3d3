package com.ferrolink.core.receiver;

import java.nio.charset.StandardCharsets;

/**
 * Built-in handler {@code load-archives}. The payload is the path, in UTF-8, of an archive or of a
 * directory with archives. The reply has a line of text for each handler that became available.
 */
final class LoadArchivesHandler implements CommandHandler {

    private final HandlerDiscovery discovery;

    LoadArchivesHandler(HandlerDiscovery discovery) {
        this.discovery = discovery;
    }

    @Override
    public String name() {
        return "load-archives";
    }

    @Override
    public byte[] handle(byte[] payload) throws CommandRejectedException {
        StringBuilder names = new StringBuilder();
        for (String name : discovery.addArchives(new String(payload, StandardCharsets.UTF_8))) {
            names.append(name).append('\n');
        }
        return names.toString().getBytes(StandardCharsets.UTF_8);
    }
}
