import com.ferrolink.core.receiver.CommandHandler;

/** Forces a collection of the heap. */
public final class ForcedCollectionHandler implements CommandHandler {

    @Override
    public String name() {
        return "force-collection";
    }

    @Override
    public byte[] handle(byte[] payload) {
        System.gc();
        return payload;
    }
}
