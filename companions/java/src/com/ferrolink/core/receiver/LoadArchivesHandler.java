package com.ferrolink.core.receiver;

import java.nio.charset.StandardCharsets;

/**
 * Built-in handler {@code load-archives}. The payload is the path, in UTF-8, of an archive or of a
 * directory with archives. The reply has a line of text for each handler that became available.
 */
final class LoadArchivesHandler implements InPlaceHandler {

    private final HandlerDiscovery discovery;

    LoadArchivesHandler(HandlerDiscovery discovery) {
        this.discovery = discovery;
    }

    @Override
    public String name() {
        return "load-archives";
    }

    @Override
    public byte[] reply(byte[] command, int start) throws CommandRejectedException {
        String path = new String(command, start, command.length - start, StandardCharsets.UTF_8);
        StringBuilder names = new StringBuilder();
        for (String name : discovery.addArchives(path)) {
            names.append(name).append('\n');
        }
        return ReplyFrame.withRoom(names.toString().getBytes(StandardCharsets.UTF_8), 0);
    }
}
