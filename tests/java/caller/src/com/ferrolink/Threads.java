package com.ferrolink;

import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.FutureTask;
import java.util.concurrent.TimeUnit;

/** Runs what tests want on threads of either kind and waits for it. */
final class Threads {

    private static final long LIMIT_SECONDS = 120;
    private static final Method START_VIRTUAL = findStartVirtual();

    private Threads() {
    }

    static boolean haveVirtual() {
        return START_VIRTUAL != null;
    }

    static <T> T onPlatformThread(Callable<T> work) throws Exception {
        FutureTask<T> task = new FutureTask<>(work);
        new Thread(task).start();
        return task.get(LIMIT_SECONDS, TimeUnit.SECONDS);
    }

    /** On a virtual thread where the JVM has them, else on one of the only kind there is. */
    static <T> T onVirtualThread(Callable<T> work) throws Exception {
        FutureTask<T> task = new FutureTask<>(work);
        startVirtual(task);
        return task.get(LIMIT_SECONDS, TimeUnit.SECONDS);
    }

    /** All at once; the first failure comes out. */
    static void onEach(int count, boolean virtual, IndexedWork work) throws Exception {
        List<FutureTask<Void>> tasks = new ArrayList<>();
        for (int index = 0; index < count; index++) {
            int number = index;
            tasks.add(new FutureTask<>(() -> {
                work.run(number);
                return null;
            }));
        }
        for (FutureTask<Void> task : tasks) {
            if (virtual) {
                startVirtual(task);
            } else {
                new Thread(task).start();
            }
        }
        for (FutureTask<Void> task : tasks) {
            task.get(LIMIT_SECONDS, TimeUnit.SECONDS);
        }
    }

    private static void startVirtual(Runnable task)
            throws IllegalAccessException, InvocationTargetException {
        if (START_VIRTUAL == null) {
            new Thread(task).start();
        } else {
            START_VIRTUAL.invoke(null, task);
        }
    }

    /** Before Java 21 the method is missing, or a preview that refuses to be called. */
    private static Method findStartVirtual() {
        try {
            return Runtime.version().feature() < 21
                    ? null : Thread.class.getMethod("startVirtualThread", Runnable.class);
        } catch (NoSuchMethodException impossible) {
            throw new AssertionError(impossible);
        }
    }

    /** Work of one of several threads. */
    interface IndexedWork {
        void run(int index) throws Exception;
    }
}
