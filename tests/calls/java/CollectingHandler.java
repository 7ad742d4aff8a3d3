import com.ferrolink.core.receiver.CommandHandler;

/** Collects garbage, for which the JVM walks the stacks of all its threads. */
public final class CollectingHandler implements CommandHandler {

    @Override
    public String name() {
        return "collect";
    }

    @Override
    public byte[] handle(byte[] payload) {
        System.gc();
        return payload;
    }
}
