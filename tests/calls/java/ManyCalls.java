import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.Arrays;

/**
 * Calls a C++ handler many times and prints whether every answer was right, and by how much the
 * process has grown since the first calls, in KiB.
 */
public final class ManyCalls {

    private static final int WARM_UP = 100_000;

    private ManyCalls() {
    }

    /** @param arguments the library with the handlers and the number of calls */
    public static void main(String[] arguments) throws IOException {
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(arguments[0]);
        byte[] payload = MirroredCalls.bytes("a payload of some bytes");
        byte[] expected = MirroredCalls.bytes("cpp a payload of some bytes");
        int calls = Integer.parseInt(arguments[1]);
        int right = 0;
        long before = 0;
        for (int i = 0; i < calls; i++) {
            if (i == WARM_UP) {
                before = residentKilobytes();
            }
            right += Arrays.equals(cpp.call("mirror", payload), expected) ? 1 : 0;
        }
        System.out.println(right);
        System.out.println(residentKilobytes() - before);
    }

    private static long residentKilobytes() throws IOException {
        for (String line : Files.readAllLines(Paths.get("/proc/self/status"))) {
            if (line.startsWith("VmRSS:")) {
                return Long.parseLong(line.replaceAll("[^0-9]", ""));
            }
        }
        throw new IOException("no VmRSS");
    }
}
