package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

@DisplayName("Calls from many threads at once")
final class ConcurrentCallsTest {

    private static final int THREADS = 16;
    private static final int ROUNDS = 500;
    private static final long LIMIT_SECONDS = 60;

    private final ExecutorService executor = Executors.newCachedThreadPool();

    @TempDir
    private Path directory;

    /** Stays in its constructor until it is released. */
    public static final class SlowHandler implements CommandHandler {

        static final CountDownLatch BEGUN = new CountDownLatch(1);
        static final CountDownLatch RELEASED = new CountDownLatch(1);

        public SlowHandler() throws InterruptedException {
            BEGUN.countDown();
            assertTrue(RELEASED.await(LIMIT_SECONDS, TimeUnit.SECONDS));
        }

        @Override
        public String name() {
            return "slow";
        }

        @Override
        public byte[] handle(byte[] payload) {
            return payload;
        }
    }

    @AfterEach
    void stop() throws InterruptedException {
        executor.shutdownNow();
        assertTrue(executor.awaitTermination(LIMIT_SECONDS, TimeUnit.SECONDS));
    }

    private static <T> T get(Future<T> future) throws Exception {
        return future.get(LIMIT_SECONDS, TimeUnit.SECONDS);
    }

    /** Numbers of threads, each of which starts when all are there. */
    private void inParallel(ThreadTask task) throws Exception {
        CyclicBarrier barrier = new CyclicBarrier(THREADS);
        List<Future<Void>> threads = new ArrayList<>();
        for (int number = 0; number < THREADS; number++) {
            int thread = number;
            threads.add(executor.submit((Callable<Void>) () -> {
                barrier.await(LIMIT_SECONDS, TimeUnit.SECONDS);
                task.run(thread);
                return null;
            }));
        }
        for (Future<Void> thread : threads) {
            get(thread);
        }
    }

    private interface ThreadTask {
        void run(int thread) throws Exception;
    }

    @Test
    @DisplayName("get each its own reply, failures among them")
    void ownReplies() throws Exception {
        inParallel(thread -> {
            for (int round = 0; round < ROUNDS; round++) {
                String payload = thread + "/" + round;
                assertEquals(payload,
                        Replies.successText(Receiver.sendCommand(Commands.call("echo", payload))));
                assertEquals(payload,
                        Replies.successText(Receiver.heartBeat(Commands.of(11, Commands.utf8(payload)))));
                assertEquals("Unknown handler '" + payload + "'. Known handlers: digest, echo,"
                        + " load-archives, objects.",
                        Replies.exceptionText(Receiver.sendCommand(Commands.call(payload, ""))));
            }
        });
    }

    @Test
    @DisplayName("run inside one handler at the same time")
    void sameHandler() throws Exception {
        CommandDispatcher dispatcher =
                new CommandDispatcher(ClassPaths.listing(directory, ScriptedHandler.class));
        CyclicBarrier inside = new CyclicBarrier(THREADS);
        ScriptedHandler.script = payload -> {
            inside.await(LIMIT_SECONDS, TimeUnit.SECONDS);
            return payload;
        };
        inParallel(thread -> assertEquals("t" + thread, Replies.successText(
                dispatcher.answer(Commands.call("scripted", "t" + thread)))));
    }

    @Test
    @DisplayName("add every archive once and find each handler once")
    void loadInParallel() throws Exception {
        CommandDispatcher dispatcher = new CommandDispatcher(getClass().getClassLoader());
        List<Path> archives = new ArrayList<>();
        for (int number = 0; number < 4; number++) {
            archives.add(new ArchiveBuilder(directory).handler("H" + number, "h" + number,
                    "return payload;").write(directory.resolve("h" + number + ".jar")));
        }
        CountDownLatch found = new CountDownLatch(archives.size());
        inParallel(thread -> {
            Path archive = archives.get(thread % archives.size());
            String name = "h" + thread % archives.size();
            String reply = Replies.successText(
                    dispatcher.answer(Commands.call("load-archives", archive.toString())));
            if (!reply.isEmpty()) {
                assertEquals(name + "\n", reply);
                assertTrue(found.getCount() > 0);
                found.countDown();
            }
            assertEquals("x", Replies.successText(dispatcher.answer(Commands.call(name, "x"))));
        });
        assertEquals(0, found.getCount());
        assertEquals("Unknown handler 'no'. Known handlers: digest, echo, h0, h1, h2, h3,"
                + " load-archives, objects.", Replies.exceptionText(dispatcher.answer(Commands.call("no", ""))));
    }

    @Test
    @DisplayName("do not wait for an archive that is being loaded")
    void lookUpWhileLoading() throws Exception {
        CommandDispatcher dispatcher = new CommandDispatcher(getClass().getClassLoader());
        dispatcher.describe();
        Path archive = slowArchive();
        Future<byte[]> loading = executor.submit(
            () -> dispatcher.answer(Commands.call("load-archives", archive.toString())));
        assertTrue(SlowHandler.BEGUN.await(LIMIT_SECONDS, TimeUnit.SECONDS));
        assertEquals("x", Replies.successText(get(executor.submit(
            () -> dispatcher.answer(Commands.call("echo", "x"))))));
        String unknown = Replies.exceptionText(
                get(executor.submit(() -> dispatcher.answer(Commands.call("slow", "x")))));
        assertEquals("Unknown handler 'slow'. Known handlers: digest, echo, load-archives, objects.", unknown);
        assertTrue(get(executor.submit(dispatcher::describe)).contains(archive.toString()));
        SlowHandler.RELEASED.countDown();
        assertEquals("slow\n", Replies.successText(get(loading)));
        assertEquals("x", Replies.successText(dispatcher.answer(Commands.call("slow", "x"))));
    }

    private Path slowArchive() throws IOException {
        return new ArchiveBuilder(directory).provider(SlowHandler.class.getName())
                .write(directory.resolve("slow.jar"));
    }
}
