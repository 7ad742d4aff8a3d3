package com.ferrolink.core.receiver;

/** An error whose methods throw. */
final class HostileError extends Error {

    private static final long serialVersionUID = 1L;

    @Override
    public String getMessage() {
        throw new UnsupportedOperationException();
    }

    @Override
    public String toString() {
        throw new UnsupportedOperationException();
    }

    @Override
    public synchronized Throwable getCause() {
        throw new UnsupportedOperationException();
    }

    @Override
    public StackTraceElement[] getStackTrace() {
        throw new UnsupportedOperationException();
    }

    @Override
    public int hashCode() {
        throw new UnsupportedOperationException();
    }

    @Override
    public boolean equals(Object other) {
        throw new UnsupportedOperationException();
    }
}
