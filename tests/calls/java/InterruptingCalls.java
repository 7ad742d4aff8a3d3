import com.ferrolink.CommandListener;
import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import java.nio.charset.StandardCharsets;

/** A listener that interrupts the threads that call it, on threads of C++ and of Java. */
public final class InterruptingCalls {

    private InterruptingCalls() {
    }

    /** @param arguments the library with the handlers */
    public static void main(String[] arguments) {
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(arguments[0]);
        Ferrolink.onCommand(command -> {
            boolean interrupted = Thread.currentThread().isInterrupted();
            Thread.currentThread().interrupt();
            return CommandListener.reply(command,
                    String.valueOf(interrupted).getBytes(StandardCharsets.UTF_8));
        });
        System.out.println("thread of C++: " + text(cpp.call("call-twice", new byte[0])));
        System.out.println("thread of Java: " + text(cpp.call("back", new byte[0])));
        System.out.println("afterwards: " + Thread.interrupted());
    }

    private static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.UTF_8);
    }
}
