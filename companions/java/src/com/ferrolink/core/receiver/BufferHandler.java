package com.ferrolink.core.receiver;

import java.nio.ByteBuffer;
import java.util.Arrays;

/**
 * A handler that reads its payload where it lies and writes its answer straight into the reply. It saves
 * one copy of the payload and one of the answer, which matters for many kilobytes.
 *
 * <pre>{@code
 * public final class Checksum implements BufferHandler {
 *     public String name() {
 *         return "checksum";
 *     }
 *
 *     public void handle(ByteBuffer payload, AnswerOutput answer) {
 *         CRC32 checksum = new CRC32();
 *         checksum.update(payload);
 *         answer.space(8).putLong(checksum.getValue());
 *     }
 * }
 * }</pre>
 *
 * <p>It is found like every {@link CommandHandler}, in the same list of its archive.
 *
 * <p><b>Threads:</b> as for {@link CommandHandler}. Buffer and output belong to the thread of the call.
 */
public interface BufferHandler extends CommandHandler {

    /**
     * Answers one call. Neither parameter may be kept: both are parts of a command and its reply.
     *
     * @param payload the bytes that the caller sent, possibly none: a read-only buffer in big-endian order,
     *     from position 0 to its limit
     * @param answer takes the bytes to reply with. If nothing is written, the answer is empty.
     * @throws Exception any failure, as for {@link CommandHandler#handle}. What was written is discarded.
     */
    void handle(ByteBuffer payload, AnswerOutput answer) throws Exception;

    /**
     * The same with arrays, for programs that call a handler themselves. Commands do not use it.
     *
     * @param payload the bytes that the caller sent, not changed
     * @return an array of its own
     */
    @Override
    default byte[] handle(byte[] payload) throws Exception {
        AnswerOutput answer = new AnswerOutput();
        handle(ByteBuffer.wrap(payload).asReadOnlyBuffer(), answer);
        byte[] reply = answer.finish();
        return Arrays.copyOfRange(reply, AnswerOutput.ROOM, reply.length);
    }
}
