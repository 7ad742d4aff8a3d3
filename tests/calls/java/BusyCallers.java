import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import java.nio.charset.StandardCharsets;
import java.util.concurrent.CountDownLatch;

/** Ends while eight threads of it call C++ and are called back. */
public final class BusyCallers {

    private static final int THREADS = 8;
    private static final int CALLS_BEFORE_THE_END = 200;

    private BusyCallers() {
    }

    /** @param arguments the library with the handlers, and the way in which to end */
    public static void main(String[] arguments) throws InterruptedException {
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(arguments[0]);
        Ferrolink.onCommands();
        CountDownLatch busy = new CountDownLatch(THREADS * CALLS_BEFORE_THE_END);
        for (int i = 0; i < THREADS; i++) {
            Thread thread = new Thread(() -> callForEver(cpp, busy));
            thread.setDaemon(true);
            thread.start();
        }
        busy.await();
        System.out.println("busy");
        System.out.flush();
        end(cpp, arguments[1]);
    }

    private static void callForEver(Ferrolink cpp, CountDownLatch busy) {
        byte[] payload = new byte[64];
        while (true) {
            cpp.call("mirror", payload);
            cpp.call("back", payload);
            busy.countDown();
        }
    }

    private static void end(Ferrolink cpp, String way) throws InterruptedException {
        if (way.equals("System.exit")) {
            System.exit(44);
        }
        if (!way.equals("return")) {
            cpp.call("end", way.getBytes(StandardCharsets.UTF_8));
            Thread.sleep(Long.MAX_VALUE);
        }
    }
}
