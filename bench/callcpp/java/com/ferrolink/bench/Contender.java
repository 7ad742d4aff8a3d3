package com.ferrolink.bench;

/**
 * One way to have bytes echoed. Each has a class and a loop of its own, so that the JIT compiler's profile of
 * one does not slow down another.
 */
abstract class Contender {

    final String name;

    Contender(String name) {
        this.name = name;
    }

    /** Prepares a command of that many bytes. */
    abstract void prepare(int size);

    /** Makes that many calls with the prepared command. */
    abstract void run(long calls) throws Throwable;

    /** Whether the last answer equals the command. */
    abstract boolean answeredRight();
}
