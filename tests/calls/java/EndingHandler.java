import com.ferrolink.core.receiver.CommandHandler;

/** Ends the process from within Java. */
public final class EndingHandler implements CommandHandler {

    @Override
    public String name() {
        return "System.exit";
    }

    @Override
    public byte[] handle(byte[] payload) {
        System.exit(44);
        return payload;
    }
}
