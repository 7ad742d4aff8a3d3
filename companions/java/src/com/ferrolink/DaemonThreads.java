package com.ferrolink;

import java.util.concurrent.ThreadFactory;
import java.util.concurrent.atomic.AtomicInteger;

/** Makes threads that neither keep the JVM alive nor hold on to loaders of their creators. */
final class DaemonThreads implements ThreadFactory {

    private final String prefix;
    private final AtomicInteger lastNumber = new AtomicInteger();

    /** Names are the prefix and a number. */
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
