package com.ferrolink.bench;

import com.sun.jna.Library;
import com.sun.jna.Native;

/** JNA with a proxy for an interface. */
final class JnaProxied extends EchoPeer {

    private final Functions functions = Native.load(LIBRARY, Functions.class);

    JnaProxied() {
        super("JNA, proxied");
    }

    @Override
    void run(long calls) {
        for (long i = 0; i < calls; i++) {
            functions.bench_echo(command, command.length, answer);
        }
    }

    /** JNA needs it public. */
    public interface Functions extends Library {
        int bench_echo(byte[] message, int length, byte[] answer);
    }
}
