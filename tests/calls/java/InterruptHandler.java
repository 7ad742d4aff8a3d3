import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;

/**
 * Sets the interrupt flag of the calling thread ("set") or of the one that came with "remember"
 * ("set remembered"), and replies whether the calling thread's was set when the call came.
 */
public final class InterruptHandler implements CommandHandler {

    private static volatile Thread remembered;

    @Override
    public String name() {
        return "interrupt";
    }

    @Override
    public byte[] handle(byte[] payload) {
        boolean interrupted = Thread.currentThread().isInterrupted();
        switch (new String(payload, StandardCharsets.UTF_8)) {
            case "set":
                Thread.currentThread().interrupt();
                break;
            case "remember":
                remembered = Thread.currentThread();
                break;
            case "set remembered":
                remembered.interrupt();
                break;
            default:
                break;
        }
        return String.valueOf(interrupted).getBytes(StandardCharsets.UTF_8);
    }
}
