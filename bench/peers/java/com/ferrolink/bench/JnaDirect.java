package com.ferrolink.bench;

import com.sun.jna.Native;

/** JNA with directly mapped native methods. */
final class JnaDirect extends EchoPeer {

    JnaDirect() {
        super("JNA, direct");
        Functions.register();
    }

    @Override
    void run(long calls) {
        for (long i = 0; i < calls; i++) {
            Functions.bench_echo(command, command.length, answer);
        }
    }

    private static final class Functions {
        static void register() {
            Native.register(Functions.class, LIBRARY);
        }

        static native int bench_echo(byte[] message, int length, byte[] answer);
    }
}
