import com.ferrolink.CommandListener;
import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.transmitter.TransmitterWrapper;

/** Deploys into C++ while each of the two members has the other as the runtime that it called last. */
public final class DeployingCalls {

    private DeployingCalls() {
    }

    /** @param arguments the library with the handlers */
    public static void main(String[] arguments) {
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(arguments[0]);
        deploy(RuntimeId.JVM);
        Ferrolink.onCommand(command ->
                CommandListener.reply(command, CommandListener.payloadOf(command)));
        cpp.call("back", new byte[1]);
        deploy(RuntimeId.CPP);
        deploy(RuntimeId.JVM);
    }

    private static void deploy(RuntimeId target) {
        byte[] header = {(byte) target.code(), 0, 0, 0, 0, 0, 0, 0, 0, 2, 0};
        System.out.println(TransmitterWrapper.deployRuntime(header, "/nowhere", 0));
    }
}
