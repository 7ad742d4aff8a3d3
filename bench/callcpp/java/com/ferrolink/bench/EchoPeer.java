package com.ferrolink.bench;

import java.util.Arrays;

/** A foreign-function interface that calls the C function {@code bench_echo}. */
abstract class EchoPeer extends Contender {

    static final String LIBRARY = System.getProperty("bench.echo", "");

    byte[] command;
    byte[] answer;

    EchoPeer(String name) {
        super(name);
    }

    @Override
    void prepare(int size) {
        command = new byte[size];
        Arrays.fill(command, (byte) size);
        command[size / 2] = 1;
        answer = new byte[size];
    }

    @Override
    boolean answeredRight() {
        return Arrays.equals(command, answer);
    }
}
