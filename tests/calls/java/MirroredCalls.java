import com.ferrolink.Ferrolink;
import com.ferrolink.FerrolinkException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** Calls to a peer that answers with its name and what it was sent. */
final class MirroredCalls {

    private static final String HANDLER = "mirror";
    private static final int REPEATED = 500;

    private final Ferrolink peer;
    private final String name;
    private final boolean wholeBody;

    /** @param wholeBody whether the peer sends the handler's name back, too */
    MirroredCalls(Ferrolink peer, String name, boolean wholeBody) {
        this.peer = peer;
        this.name = name;
        this.wholeBody = wholeBody;
    }

    static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    /** How the peers' refusals of that text go on after the peer's name. */
    static String refusal(String text) {
        char[] repeated = new char[REPEATED];
        Arrays.fill(repeated, text.charAt(0));
        return " refuses " + new String(repeated) + " " + text;
    }

    boolean answersWith(String text) {
        String expected = name + (wholeBody ? (char) HANDLER.length() + HANDLER : "") + text;
        return Arrays.equals(peer.call(HANDLER, bytes(text)), bytes(expected));
    }

    /** The text of the native failure. */
    String failureOf(String text) {
        try {
            peer.call(HANDLER, bytes("fail:" + text));
            return "no failure";
        } catch (FerrolinkException failure) {
            return failure.getMessage();
        }
    }
}
