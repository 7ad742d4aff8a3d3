import com.ferrolink.Ferrolink;
import com.ferrolink.FerrolinkException;
import com.ferrolink.RemoteException;
import com.ferrolink.RuntimeId;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.concurrent.atomic.AtomicInteger;

/** Calls C++ functions behind a server, and prints the answers. */
final class RemoteCalls {

    private static final int THREADS = 8;
    private static final int CALLS = 250;

    private RemoteCalls() {}

    /** @param arguments tcp or tls, address, port, and a port without a server */
    public static void main(String[] arguments) throws InterruptedException {
        boolean tls = arguments[0].equals("tls");
        try (Ferrolink cpp = peer(tls, arguments[1], Integer.parseInt(arguments[2]))) {
            cpp.heartbeat();
            System.out.println(text(cpp.call("echo", bytes("over " + arguments[0]))));
            try {
                cpp.call("refuse", bytes("this"));
            } catch (RemoteException failure) {
                System.out.println(failure.remoteText());
            }
            try {
                cpp.loadLibrary("/anything.so");
            } catch (FerrolinkException failure) {
                System.out.println(failure.getMessage());
            }
            System.out.println(ownAnswers(cpp));
        }
        try (Ferrolink nobody = peer(tls, arguments[1], Integer.parseInt(arguments[3]))) {
            nobody.heartbeat();
        } catch (FerrolinkException failure) {
            System.out.println(failure.prefix() + ' ' + failure.code());
        }
    }

    private static Ferrolink peer(boolean tls, String host, int port) {
        return tls ? Ferrolink.tls(RuntimeId.CPP, host, port) : Ferrolink.tcp(RuntimeId.CPP, host, port);
    }

    private static int ownAnswers(Ferrolink cpp) throws InterruptedException {
        AtomicInteger own = new AtomicInteger();
        Thread[] threads = new Thread[THREADS];
        for (int number = 0; number < THREADS; number++) {
            String name = "thread " + number + " call ";
            threads[number] = new Thread(() -> {
                for (int i = 0; i < CALLS; i++) {
                    byte[] payload = bytes(name + i);
                    if (Arrays.equals(cpp.call("echo", payload), payload)) {
                        own.incrementAndGet();
                    }
                }
            });
            threads[number].start();
        }
        for (Thread thread : threads) {
            thread.join();
        }
        return own.get();
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    private static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.UTF_8);
    }
}
