package com.ferrolink.test;

import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;

/** Its constructor, which runs while start-up prints the runtime information, sends commands. */
public final class SendingHandler implements CommandHandler {
    private final String answers;

    public SendingHandler() throws InterruptedException {
        String own = Sender.echo("own thread");
        String[] joined = new String[1];
        Thread thread = new Thread(() -> joined[0] = Sender.echo("joined thread"));
        thread.start();
        thread.join();
        answers = own + ", " + joined[0];
    }

    @Override
    public String name() {
        return "sending";
    }

    @Override
    public byte[] handle(byte[] payload) {
        return answers.getBytes(StandardCharsets.UTF_8);
    }
}
