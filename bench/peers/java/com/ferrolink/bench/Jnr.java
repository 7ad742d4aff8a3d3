package com.ferrolink.bench;

import jnr.ffi.LibraryLoader;
import jnr.ffi.annotations.In;
import jnr.ffi.annotations.Out;

/** JNR-FFI with a proxy for an interface, and copies in one direction only. */
final class Jnr extends EchoPeer {

    private final Functions functions = LibraryLoader.create(Functions.class).load(LIBRARY);

    Jnr() {
        super("JNR-FFI");
    }

    @Override
    void run(long calls) {
        for (long i = 0; i < calls; i++) {
            functions.bench_echo(command, command.length, answer);
        }
    }

    /** JNR-FFI needs it public. */
    public interface Functions {
        int bench_echo(@In byte[] message, int length, @Out byte[] answer);
    }
}
