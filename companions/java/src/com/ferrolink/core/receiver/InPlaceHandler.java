package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;
import java.util.Arrays;

/** A built-in handler that reads its payload inside the command and makes the whole reply. */
interface InPlaceHandler extends CommandHandler {

    /**
     * Answers one call.
     *
     * @param command the command, read only
     * @param start the offset of the payload, which ends with the command
     * @return an array of its own: {@link CommandHeader#SIZE} zero bytes, which become the header, and the
     *     bytes to reply with
     * @throws Exception as for {@link CommandHandler#handle}
     */
    byte[] reply(byte[] command, int start) throws Exception;

    @Override
    default byte[] handle(byte[] payload) throws Exception {
        byte[] reply = reply(payload, 0);
        return Arrays.copyOfRange(reply, CommandHeader.SIZE, reply.length);
    }
}
