package com.ferrolink;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;

/**
 * Runs tasks on platform threads: on the calling thread if it is one, else on a thread of a pool, for
 * which the virtual thread waits. A virtual thread may change its carrier between two native calls, and
 * would lose a response, which waits for the carrier that sent the command.
 */
final class PlatformThreads {

    /** The system property that limits the number of threads. */
    static final String SIZE_PROPERTY = "ferrolink.platformThreads";

    static final int DEFAULT_SIZE = 16;

    private static final int MAXIMUM_SIZE = 1024;
    private static final long IDLE_SECONDS = 30;

    /** Thread.isVirtual(); null on JVMs without virtual threads. */
    private static final MethodHandle IS_VIRTUAL = findIsVirtual();

    private final ThreadPoolExecutor pool;

    /** A new pool of at most {@code size} threads. Idle threads end. */
    PlatformThreads(int size) {
        pool = new ThreadPoolExecutor(size, size, IDLE_SECONDS, TimeUnit.SECONDS,
                new LinkedBlockingQueue<Runnable>(), new DaemonThreads("ferrolink-platform-"));
        pool.allowCoreThreadTimeOut(true);
    }

    /** The pool of the process. */
    static PlatformThreads shared() {
        return Shared.INSTANCE;
    }

    /** The property's number, or {@code otherwise} if it is no number from 1 to 1024. */
    static int sizeOf(String property, int otherwise) {
        try {
            int size = property == null ? otherwise : Integer.parseInt(property.trim());
            return size >= 1 && size <= MAXIMUM_SIZE ? size : otherwise;
        } catch (NumberFormatException unusable) {
            return otherwise;
        }
    }

    static boolean isVirtual(Thread thread) {
        if (IS_VIRTUAL == null) {
            return false;
        }
        try {
            return (boolean) IS_VIRTUAL.invokeExact(thread);
        } catch (Throwable impossible) {
            throw new IllegalStateException("Thread.isVirtual failed", impossible);
        }
    }

    /** Runs the task on a platform thread and waits for its end. Throws what the task throws. */
    void run(Runnable task) {
        if (isVirtual(Thread.currentThread())) {
            runInPool(task);
        } else {
            task.run();
        }
    }

    /** An interrupt does not end the wait; the interrupt flag is set again afterwards. */
    void runInPool(Runnable task) {
        FutureTask<Void> future = new FutureTask<>(task, null);
        pool.execute(future);
        boolean interrupted = false;
        boolean done = false;
        try {
            while (!done) {
                try {
                    future.get();
                    done = true;
                } catch (InterruptedException later) {
                    interrupted = true;
                }
            }
        } catch (ExecutionException failure) {
            throw unchecked(failure.getCause());
        } finally {
            if (interrupted) {
                Thread.currentThread().interrupt();
            }
        }
    }

    /** Throws an Error; returns anything else as the RuntimeException that it is, for the caller to throw. */
    static RuntimeException unchecked(Throwable failure) {
        if (failure instanceof Error) {
            throw (Error) failure;
        }
        return (RuntimeException) failure;
    }

    private static MethodHandle findIsVirtual() {
        try {
            return MethodHandles.publicLookup().findVirtual(Thread.class, "isVirtual",
                    MethodType.methodType(boolean.class));
        } catch (NoSuchMethodException | IllegalAccessException absent) {
            return null;
        }
    }

    /** Created on first use. */
    private static final class Shared {
        static final PlatformThreads INSTANCE =
                new PlatformThreads(sizeOf(System.getProperty(SIZE_PROPERTY), DEFAULT_SIZE));
    }
}
