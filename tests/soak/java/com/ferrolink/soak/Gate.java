package com.ferrolink.soak;

/** Pauses the workers while a sample is taken, like Gate.h in C++. Thread-safe. */
final class Gate {

    private int inside;
    private boolean closed;
    private boolean over;

    /** Waits while the gate is closed. Returns false once the work is over; do not call leave() then. */
    synchronized boolean enter() throws InterruptedException {
        while (closed && !over) {
            wait();
        }
        inside += over ? 0 : 1;
        return !over;
    }

    synchronized void leave() {
        inside--;
        if (closed && inside == 0) {
            notifyAll();
        }
    }

    /** Returns when no worker is inside. */
    synchronized void close() throws InterruptedException {
        closed = true;
        while (inside > 0) {
            wait();
        }
    }

    synchronized void open() {
        closed = false;
        notifyAll();
    }

    synchronized void end() {
        over = true;
        notifyAll();
    }
}
