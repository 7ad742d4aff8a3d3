import com.ferrolink.Ferrolink;
import com.ferrolink.FerrolinkException;
import com.ferrolink.RemoteException;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.transmitter.TransmitterWrapper;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.atomic.AtomicIntegerArray;

/**
 * Threads that call over three channels at once, with failures of every kind among the calls. Prints
 * how many answers and failures of each thread were right, byte for byte.
 */
public final class ConcurrentCallers {

    private static final int THREADS = 8;
    private static final int CALLS = 20_000;
    private static final int CALLS_TO_A_FAILURE = 160;

    private final MirroredCalls[] channels;
    private final Ferrolink cpp;
    private final AtomicIntegerArray answers = new AtomicIntegerArray(THREADS);
    private final AtomicIntegerArray failures = new AtomicIntegerArray(THREADS);

    private ConcurrentCallers(String handlers) {
        cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(handlers);
        channels = new MirroredCalls[] {
            new MirroredCalls(cpp, "cpp ", false),
            new MirroredCalls(Ferrolink.tcp(RuntimeId.RUBY, "127.0.0.1", 8080), "tcp 127.0.0.1:8080 ", true),
            new MirroredCalls(Ferrolink.tls(RuntimeId.PERL, "10.0.0.7", 65535), "tls 10.0.0.7:65535 ", true),
        };
    }

    /** @param arguments the library with the handlers, and optionally the number of calls */
    public static void main(String[] arguments) throws InterruptedException {
        ConcurrentCallers callers = new ConcurrentCallers(arguments[0]);
        int calls = arguments.length > 1 ? Integer.parseInt(arguments[1]) : CALLS;
        Thread[] threads = new Thread[THREADS];
        CountDownLatch together = new CountDownLatch(THREADS);
        for (int i = 0; i < THREADS; i++) {
            int number = i;
            threads[i] = new Thread(() -> {
                together.countDown();
                callers.call(number, calls);
            });
            threads[i].start();
        }
        for (Thread thread : threads) {
            thread.join();
        }
        System.out.println("answers " + callers.answers);
        System.out.println("failures " + callers.failures);
    }

    private void call(int thread, int calls) {
        for (int number = 0; number < calls; number++) {
            String text = thread + "/" + number;
            if (number % CALLS_TO_A_FAILURE == 0) {
                failures.addAndGet(thread, failsRightly(number / CALLS_TO_A_FAILURE % 4, text) ? 1 : 0);
            }
            answers.addAndGet(thread, channels[(thread + number) % 3].answersWith(text) ? 1 : 0);
        }
    }

    private boolean failsRightly(int kind, String text) {
        switch (kind) {
            case 0:
                return remoteTextIs(text);
            case 1:
                return isWhole(channels[1].failureOf(text));
            case 2:
                return isWhole(channels[2].failureOf(text));
            default:
                return TransmitterWrapper.sendCommand(new byte[] {8, 0, 9, 0, 0, 0, 0, 0, 0, 2, 2}) == -2
                        && isWhole(TransmitterWrapper.getNativeError());
        }
    }

    // The exception of a C++ handler reaches its own caller.
    private boolean remoteTextIs(String text) {
        try {
            cpp.call("refuse", MirroredCalls.bytes(text));
            return false;
        } catch (RemoteException failure) {
            return failure.remoteText().equals("std::runtime_error: cpp" + MirroredCalls.refusal(text));
        }
    }

    /** The last failure of any thread, and whole. */
    private static boolean isWhole(String text) {
        if (text.equals("Ferrolink Native Exception: Exception code 023.")) {
            return true;
        }
        int end = text.lastIndexOf(' ');
        String refusal = MirroredCalls.refusal(text.substring(end + 1));
        return text.equals("tcp 127.0.0.1:8080" + refusal) || text.equals("tls 10.0.0.7:65535" + refusal);
    }
}
