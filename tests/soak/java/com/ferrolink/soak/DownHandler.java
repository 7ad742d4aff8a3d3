package com.ferrolink.soak;

import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.receiver.CommandHandler;
import java.util.Arrays;

/** Calls C++, which calls this handler again, to the depth in the payload. Each level adds a letter. */
public final class DownHandler implements CommandHandler {

    @Override
    public String name() {
        return "down";
    }

    @Override
    public byte[] handle(byte[] payload) {
        return down(payload[0]);
    }

    static byte[] down(int depth) {
        byte[] inner = depth == 0 ? new byte[0]
                : Ferrolink.inMemory(RuntimeId.CPP).call("down", new byte[] {(byte) (depth - 1)});
        byte[] answer = Arrays.copyOf(inner, inner.length + 1);
        answer[inner.length] = 'J';
        return answer;
    }
}
