import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.receiver.CommandHandler;

/** Hands its payload to the C++ handler "end-thread". */
public final class RelayingHandler implements CommandHandler {

    @Override
    public String name() {
        return "relay";
    }

    @Override
    public byte[] handle(byte[] payload) {
        return Ferrolink.inMemory(RuntimeId.CPP).call("end-thread", payload);
    }
}
