package com.ferrolink;

import java.util.concurrent.ThreadFactory;
import java.util.concurrent.atomic.AtomicInteger;

/** Makes daemon threads whose context class loader is that of this class, not that of their creator. */
final class DaemonThreads implements ThreadFactory {

    private final String prefix;
    private final AtomicInteger lastNumber = new AtomicInteger();

    /** Threads are named by the prefix and a number. */
    DaemonThreads(String prefix) {
        this.prefix = prefix;
    }

    @Override
    public Thread newThread(Runnable work) {
        Thread thread = new Thread(work, prefix + lastNumber.incrementAndGet());
        thread.setDaemon(true);
        thread.setContextClassLoader(DaemonThreads.class.getClassLoader());
        return thread;
    }
}
