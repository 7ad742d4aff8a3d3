import com.ferrolink.core.receiver.CommandHandler;
import java.nio.charset.StandardCharsets;

/** Refuses every payload with an exception that names it. */
public final class RefusingHandler implements CommandHandler {

    @Override
    public String name() {
        return "refuse";
    }

    @Override
    public byte[] handle(byte[] payload) {
        throw new IllegalStateException("refuses " + new String(payload, StandardCharsets.UTF_8));
    }
}
