package com.ferrolink;

import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.Semaphore;
import java.util.concurrent.SynchronousQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;

/**
 * Runs tasks on platform threads of its own, so that callers can give up. A task that was given up
 * keeps its thread until it ends, so the number of threads is limited. If all are busy, callers wait for
 * one until their time is over.
 */
final class TimedThreads {

    /** The system property that limits the number of threads. */
    static final String SIZE_PROPERTY = "ferrolink.timedThreads";

    static final int DEFAULT_SIZE = 256;

    private static final long IDLE_SECONDS = 30;

    private final Semaphore free;
    private final ThreadPoolExecutor pool;

    /** At most {@code size} threads. Idle threads end. */
    TimedThreads(int size) {
        free = new Semaphore(size, true);
        // Unbounded: a thread that has released its permit may not be idle yet when the next task comes.
        pool = new ThreadPoolExecutor(0, Integer.MAX_VALUE, IDLE_SECONDS, TimeUnit.SECONDS,
                new SynchronousQueue<Runnable>(), new DaemonThreads("ferrolink-timed-"));
    }

    /** The threads of the process. */
    static TimedThreads shared() {
        return Shared.INSTANCE;
    }

    /**
     * Runs the task and waits for its end, at most until the deadline. After that the task may still
     * begin or continue, unless the caller tells it to stop. Throws what the task throws, if it ended in
     * time.
     * An interrupt does not end the wait; the interrupt flag is set again afterwards.
     *
     * @return false if the time was over first
     */
    boolean run(Runnable task, Deadline deadline) {
        FutureTask<Void> future = new FutureTask<>(() -> {
            try {
                task.run();
            } finally {
                free.release();
            }
        }, null);
        boolean acquired = waitUntil(deadline, left -> free.tryAcquire(left, TimeUnit.NANOSECONDS));
        return acquired && start(future) && waitUntil(deadline, left -> isDone(future, left));
    }

    private boolean start(FutureTask<Void> future) {
        try {
            pool.execute(future);
            return true;
        } catch (Throwable noThread) {
            free.release();
            throw noThread;
        }
    }

    private static boolean isDone(FutureTask<Void> future, long nanoseconds) throws InterruptedException {
        try {
            future.get(nanoseconds, TimeUnit.NANOSECONDS);
            return true;
        } catch (TimeoutException later) {
            return false;
        } catch (ExecutionException failure) {
            throw PlatformThreads.unchecked(failure.getCause());
        }
    }

    private static boolean waitUntil(Deadline deadline, Wait wait) {
        boolean interrupted = false;
        try {
            while (true) {
                try {
                    return wait.within(deadline.nanosecondsLeft());
                } catch (InterruptedException later) {
                    interrupted = true;
                }
            }
        } finally {
            if (interrupted) {
                Thread.currentThread().interrupt();
            }
        }
    }

    /** Waits for something, for at most that many nanoseconds. */
    private interface Wait {
        boolean within(long nanoseconds) throws InterruptedException;
    }

    /** Created on first use. */
    private static final class Shared {
        static final TimedThreads INSTANCE = new TimedThreads(
                PlatformThreads.sizeOf(System.getProperty(SIZE_PROPERTY), DEFAULT_SIZE));
    }
}
