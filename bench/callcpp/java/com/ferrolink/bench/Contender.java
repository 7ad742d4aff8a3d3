package com.ferrolink.bench;

/**
 * One way of having bytes echoed. Each has a class and a loop of its own, so that what the compiler
 * learns of one does not slow down another.
 */
abstract class Contender {

    final String name;

    Contender(String name) {
        this.name = name;
    }

    /** Makes the command for calls of so many bytes. */
    abstract void prepare(int size);

    /** Makes that many calls. */
    abstract void run(long calls) throws Throwable;

    /** Whether the last call brought back what it sent. */
    abstract boolean answeredRight();
}
