import com.ferrolink.Ferrolink;
import com.ferrolink.RemoteException;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.receiver.Receiver;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.atomic.AtomicLong;

/**
 * Threads call C++ with payloads of all sizes, are called back, get exceptions and force collections, all at
 * once. Prints the JVM, the numbers of calls, failures and collections, and the number of wrong answers and
 * failures.
 */
public final class MixedCallers {

    private static final int THREADS = 8;
    private static final int CALLS_TO_A_FAILURE = 100;
    private static final int CALLS_TO_A_LARGE_ARRAY = 250;
    private static final int CALLS_TO_A_COLLECTION = 500;
    private static final int LARGE = 4 << 20;
    private static final int[] SIZES = {0, 1, 64, 1024, 2048, 2049, 65536};
    private static final byte[] GREETING = "cpp ".getBytes(StandardCharsets.US_ASCII);

    private final Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
    private final AtomicLong calls = new AtomicLong();
    private final AtomicLong refusals = new AtomicLong();
    private final AtomicLong collections = new AtomicLong();
    private final AtomicLong wrong = new AtomicLong();

    private MixedCallers(String handlers) {
        cpp.loadLibrary(handlers);
        Ferrolink.onCommands();
    }

    /** @param arguments the library with the handlers, and the number of calls per thread */
    public static void main(String[] arguments) throws InterruptedException {
        MixedCallers callers = new MixedCallers(arguments[0]);
        int each = Integer.parseInt(arguments[1]);
        CountDownLatch together = new CountDownLatch(THREADS);
        Thread[] threads = new Thread[THREADS];
        for (int i = 0; i < THREADS; i++) {
            int number = i;
            threads[i] = new Thread(() -> {
                together.countDown();
                callers.call(number, each);
            });
            threads[i].start();
        }
        for (Thread thread : threads) {
            thread.join();
        }
        System.out.print(Receiver.getRuntimeInfo());
        System.out.println("calls=" + callers.calls);
        System.out.println("refusals=" + callers.refusals);
        System.out.println("collections=" + callers.collections);
        System.out.println("wrong=" + callers.wrong);
    }

    private void call(int thread, int each) {
        for (int number = 0; number < each; number++) {
            int step = number + thread;
            boolean right = step % 2 == 0 ? isMirrored(payload(thread, number)) : isCalledBack(payload(thread, number));
            count(calls, right);
            if (step % CALLS_TO_A_FAILURE == 0) {
                count(refusals, isRefused(thread + "/" + number));
            }
            if (step % CALLS_TO_A_COLLECTION == 0) {
                System.gc();
                collections.incrementAndGet();
            }
        }
    }

    private void count(AtomicLong counted, boolean right) {
        counted.incrementAndGet();
        if (!right) {
            wrong.incrementAndGet();
        }
    }

    private static byte[] payload(int thread, int number) {
        boolean large = (number + thread) % CALLS_TO_A_LARGE_ARRAY == 0;
        byte[] bytes = new byte[large ? LARGE : SIZES[number % SIZES.length]];
        Arrays.fill(bytes, (byte) (thread * 31 + number));
        return bytes;
    }

    private boolean isMirrored(byte[] payload) {
        byte[] answer = cpp.call("mirror", payload);
        return Arrays.equals(Arrays.copyOf(answer, GREETING.length), GREETING)
                && Arrays.equals(Arrays.copyOfRange(answer, GREETING.length, answer.length), payload);
    }

    private boolean isCalledBack(byte[] payload) {
        return Arrays.equals(cpp.call("back", payload), payload);
    }

    private boolean isRefused(String text) {
        char[] repeated = new char[500];
        Arrays.fill(repeated, text.charAt(0));
        try {
            cpp.call("refuse", text.getBytes(StandardCharsets.US_ASCII));
            return false;
        } catch (RemoteException failure) {
            return failure.remoteText()
                    .equals("std::runtime_error: cpp refuses " + new String(repeated) + " " + text);
        }
    }
}
