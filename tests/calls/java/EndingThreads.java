import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import java.nio.charset.StandardCharsets;

/**
 * Has C++ end a Java thread, then, until the process ends, has further threads write over what may
 * have been its stack, and collects garbage, for which the JVM walks the stacks of all its threads.
 */
public final class EndingThreads {

    private EndingThreads() {
    }

    /** @param arguments the library with the handlers, the handler, and what it is sent */
    public static void main(String[] arguments) throws InterruptedException {
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(arguments[0]);
        byte[] payload = arguments[2].getBytes(StandardCharsets.UTF_8);
        Thread thread = new Thread(() -> cpp.call(arguments[1], payload));
        thread.setDaemon(true);
        thread.start();
        while (true) {
            Thread other = new Thread(() -> descend(100));
            other.start();
            other.join();
            System.gc();
        }
    }

    private static long descend(int depth) {
        return depth == 0 ? 0 : depth + descend(depth - 1);
    }
}
