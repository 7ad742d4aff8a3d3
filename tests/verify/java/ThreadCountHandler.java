import com.ferrolink.core.receiver.CommandHandler;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;

/** Replies with the number of threads in the JVM, as digits. */
public final class ThreadCountHandler implements CommandHandler {

    @Override
    public String name() {
        return "thread-count";
    }

    @Override
    public byte[] handle(byte[] payload) {
        int count = ManagementFactory.getThreadMXBean().getThreadCount();
        return Integer.toString(count).getBytes(StandardCharsets.US_ASCII);
    }
}
