package com.ferrolink;

import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.Semaphore;
import java.util.concurrent.SynchronousQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;

/**
 * Runs tasks on platform threads that are not the caller's, who can give up while they go on. A task
 * that was given up keeps its thread until it ends, so the threads are counted: where all are busy,
 * callers wait for one as long as their time lasts.
 */
final class TimedThreads {

    /** The system property with the largest number of threads. */
    static final String SIZE_PROPERTY = "ferrolink.timedThreads";

    static final int DEFAULT_SIZE = 256;

    private static final long IDLE_SECONDS = 30;

    private final Semaphore free;
    private final ThreadPoolExecutor pool;

    /** Threads of its own, at most {@code size}; idle ones end. */
    TimedThreads(int size) {
        free = new Semaphore(size, true);
        // A thread that has given its permit back may not be idle yet when the next task comes.
        pool = new ThreadPoolExecutor(0, Integer.MAX_VALUE, IDLE_SECONDS, TimeUnit.SECONDS,
                new SynchronousQueue<Runnable>(), new DaemonThreads("ferrolink-timed-"));
    }

    /** The threads of the process. */
    static TimedThreads shared() {
        return Shared.INSTANCE;
    }

    /**
     * Runs the task and waits for its end, or until the time is over; the task may then begin or go on
     * nevertheless, and whoever it belongs to has to tell it. What it throws comes out of here, unless it
     * was given up. An interrupt does not end the waiting, it is there again afterwards.
     *
     * @return false where the time was over first
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

    /** Waits for something, no longer than so many nanoseconds. */
    private interface Wait {
        boolean within(long nanoseconds) throws InterruptedException;
    }

    /** Made when it is needed first. */
    private static final class Shared {
        static final TimedThreads INSTANCE = new TimedThreads(
                PlatformThreads.sizeOf(System.getProperty(SIZE_PROPERTY), DEFAULT_SIZE));
    }
}
