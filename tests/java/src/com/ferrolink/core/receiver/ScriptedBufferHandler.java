package com.ferrolink.core.receiver;

import java.nio.ByteBuffer;

/** Does in each call what the running test wants, with buffers. */
public final class ScriptedBufferHandler implements BufferHandler {

    /** Does what a test asks for. */
    interface Script {
        void run(ByteBuffer payload, AnswerOutput answer) throws Exception;
    }

    static volatile Script script;

    @Override
    public String name() {
        return "scripted-buffers";
    }

    @Override
    public void handle(ByteBuffer payload, AnswerOutput answer) throws Exception {
        script.run(payload, answer);
    }
}
