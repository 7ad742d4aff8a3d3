package com.ferrolink.bench;

import jnr.ffi.LibraryLoader;
import jnr.ffi.annotations.In;
import jnr.ffi.annotations.Out;

/** JNR-FFI, an interface that it implements, with the copies in one direction that it needs. */
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

    /** Public, as JNR demands. */
    public interface Functions {
        int bench_echo(@In byte[] message, int length, @Out byte[] answer);
    }
}
