package com.ferrolink;

import com.ferrolink.core.transmitter.TransmitterWrapper;

/** Asks twice for a library that cannot be loaded, then with the root that its argument names. */
public final class MissingLibraryProgram {

    private MissingLibraryProgram() {
    }

    /** Prints the failures. */
    public static void main(String[] arguments) {
        for (int round = 0; round < 2; round++) {
            try {
                Ferrolink.inMemory(RuntimeId.CPP);
            } catch (FerrolinkException failure) {
                System.out.println(failure.getMessage() + " " + failure.code());
            }
        }
        try {
            Ferrolink.onCommand(null);
        } catch (FerrolinkException failure) {
            System.out.println(failure.getCause().getClass().getName());
        }
        if (arguments.length > 0) {
            System.setProperty("ferrolink.home", arguments[0]);
        }
        try {
            System.out.println(TransmitterWrapper.getNativeError());
        } catch (UnsatisfiedLinkError failure) {
            System.out.println(failure.getMessage());
        }
    }
}
