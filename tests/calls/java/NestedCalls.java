import com.ferrolink.CommandListener;
import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** Java calls C++, which calls this program back, and so on. Prints who took part, innermost first. */
public final class NestedCalls {

    private static Ferrolink cpp;

    private NestedCalls() {
    }

    /** @param arguments the library with the handlers, then depths */
    public static void main(String[] arguments) throws InterruptedException {
        cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(arguments[0]);
        Ferrolink.onCommand(command ->
                CommandListener.reply(command, down(CommandListener.payloadOf(command)[0])));
        for (String depth : Arrays.asList(arguments).subList(1, arguments.length)) {
            print(Integer.parseInt(depth));
        }
        Thread thread = new Thread(() -> print(50));
        thread.start();
        thread.join();
    }

    private static void print(int depth) {
        System.out.println(new String(down(depth), StandardCharsets.UTF_8));
    }

    private static byte[] down(int depth) {
        byte[] inner = depth == 0 ? new byte[0] : cpp.call("down", new byte[] {(byte) (depth - 1)});
        byte[] answer = Arrays.copyOf(inner, inner.length + 1);
        answer[inner.length] = 'J';
        return answer;
    }
}
