package com.ferrolink.soak;

/** Holds the workers back while the process is looked at, as Gate.h does in C++. */
final class Gate {

    private int inside;
    private boolean closed;
    private boolean over;

    /** Waits while the gate is closed. False once the work is over; leave() is not called then. */
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

    /** Returns when nobody is inside any more. */
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
