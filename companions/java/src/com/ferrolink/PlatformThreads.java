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
 * Runs tasks on platform threads: on the calling thread itself where it is one, else on a thread of
 * a pool, for which the virtual thread waits. A virtual thread may change the thread that carries it
 * between two native calls, and natively thread-bound responses would be lost.
 */
final class PlatformThreads {

    /** The system property with the largest number of threads. */
    static final String SIZE_PROPERTY = "ferrolink.platformThreads";

    static final int DEFAULT_SIZE = 16;

    private static final int MAXIMUM_SIZE = 1024;
    private static final long IDLE_SECONDS = 30;

    /** Thread.isVirtual(); null on JVMs that have no virtual threads. */
    private static final MethodHandle IS_VIRTUAL = findIsVirtual();

    private final ThreadPoolExecutor pool;

    /** A pool of its own, of at most {@code size} threads; idle ones end. */
    PlatformThreads(int size) {
        pool = new ThreadPoolExecutor(size, size, IDLE_SECONDS, TimeUnit.SECONDS,
                new LinkedBlockingQueue<Runnable>(), new DaemonThreads("ferrolink-platform-"));
        pool.allowCoreThreadTimeOut(true);
    }

    /** The pool of the process. */
    static PlatformThreads shared() {
        return Shared.INSTANCE;
    }

    /** What the property says, {@code otherwise} where it says nothing of use. */
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

    /** Runs the task to its end on a platform thread; what it throws comes out of here. */
    void run(Runnable task) {
        if (isVirtual(Thread.currentThread())) {
            runInPool(task);
        } else {
            task.run();
        }
    }

    /** An interrupt does not end the waiting, it is there again afterwards. */
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

    /** What a task threw, none of which is checked: an error is thrown here, the rest by the caller. */
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

    /** Made when it is needed first. */
    private static final class Shared {
        static final PlatformThreads INSTANCE =
                new PlatformThreads(sizeOf(System.getProperty(SIZE_PROPERTY), DEFAULT_SIZE));
    }
}
