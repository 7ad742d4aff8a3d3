package com.ferrolink.core.receiver;

/** Does in each call what the running test wants. */
public final class ScriptedHandler implements CommandHandler {

    /** Does what a test asks for. */
    interface Script {
        byte[] run(byte[] payload) throws Exception;
    }

    static volatile Script script;

    @Override
    public String name() {
        return "scripted";
    }

    @Override
    public byte[] handle(byte[] payload) throws Exception {
        return script.run(payload);
    }
}
