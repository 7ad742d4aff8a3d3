package com.ferrolink;

import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * A failure of the native libraries: the command did not reach its target, or its answer did not come
 * back. Exceptions of the target's own code are {@link RemoteException}s instead.
 *
 * <p>{@link #getMessage} is the native library's whole text, or says that this is empty or not readable.
 * {@link #prefix}, {@link #code}, {@link #text} and {@link #runtimeInfo} are its parts. A code is unique
 * only within its prefix. {@link #mayHaveExecuted} tells whether the command may be sent again.
 *
 * <p><b>Threads:</b> immutable, except for what every Throwable allows; thread-safe.
 */
public class FerrolinkException extends RuntimeException {

    private static final long serialVersionUID = 1L;

    private static final String INFO_MARK = "\nRUNTIME INFO:\n";
    private static final String NETWORK_CLIENT = "Network Client";
    private static final int NOT_BEGUN_IN_TIME = 9;
    private static final int NOT_ANSWERED_IN_TIME = 10;
    private static final Pattern CODED =
            Pattern.compile("([^:\\n]{1,80}): Exception code (\\d{1,9})(?!\\d)\\.?(.*)", Pattern.DOTALL);

    /** The component that failed, or empty. */
    private final String prefix;
    /** The number of the failure, or -1. */
    private final int code;
    /** The text behind prefix and code. */
    private final String text;
    /** The failed runtime's description of itself, or empty. */
    private final String runtimeInfo;

    /** Whether the command may have been executed. */
    private final boolean mayHaveExecuted;

    /** A failure of this package itself. Its text is the whole message. */
    FerrolinkException(String message, Throwable cause, boolean mayHaveExecuted) {
        super(message, cause);
        prefix = "";
        code = -1;
        text = message;
        runtimeInfo = "";
        this.mayHaveExecuted = mayHaveExecuted;
    }

    FerrolinkException(Parts parts, boolean mayHaveExecuted) {
        super(parts.message);
        prefix = parts.prefix;
        code = parts.code;
        text = parts.text;
        runtimeInfo = parts.runtimeInfo;
        this.mayHaveExecuted = mayHaveExecuted;
    }

    /**
     * Parses an error text of the native library. For programs that call {@link
     * com.ferrolink.core.transmitter.TransmitterWrapper} themselves.
     *
     * @param nativeText any text; null counts as empty
     * @return the exception, not thrown; a {@link DeadlineExceededException} if the text reports one. Parts
     *     that the text lacks are empty. {@link #mayHaveExecuted} is right for errors of {@code
     *     sendCommand}; after a later error the command was executed.
     */
    public static FerrolinkException ofNativeText(String nativeText) {
        return new NativeText(nativeText, false).toException();
    }

    /**
     * The component that failed.
     *
     * @return {@code JVM Launcher}, {@code Ferrolink Native Exception}, {@code JVM Lib}, or the name
     *     that another member of the family uses; empty if the text has no code
     */
    public String prefix() {
        return prefix;
    }

    /**
     * The error code, unique within its component.
     *
     * @return 0 or more; -1 if the text has none
     */
    public int code() {
        return code;
    }

    /**
     * The text behind prefix and code, without white space around it.
     *
     * @return never null; empty if there is only a prefix and a code
     */
    public String text() {
        return text;
    }

    /**
     * The failed runtime's description of itself.
     *
     * @return lines of text; empty if the text has no such part
     */
    public String runtimeInfo() {
        return runtimeInfo;
    }

    /**
     * Whether the command may have been executed. If so, repeat it only if it is idempotent.
     *
     * @return false if the command was certainly not executed; true in all other cases
     */
    public boolean mayHaveExecuted() {
        return mayHaveExecuted;
    }

    /** An unparsed error text. The thread that gets the exception parses it, so that frames are its own. */
    static final class NativeText {
        private final String text;
        private final boolean afterExecution;

        NativeText(String text, boolean afterExecution) {
            this.text = text == null ? "" : text;
            this.afterExecution = afterExecution;
        }

        FerrolinkException toException() {
            Parts parts = new Parts(text);
            boolean mayHaveExecuted = afterExecution || !NotExecuted.covers(parts.prefix, parts.code);
            return parts.isDeadline() ? new DeadlineExceededException(parts, mayHaveExecuted)
                    : new FerrolinkException(parts, mayHaveExecuted);
        }
    }

    /** The parts of an error text. */
    static final class Parts {
        final String message;
        final String prefix;
        final int code;
        final String text;
        final String runtimeInfo;

        Parts(String whole) {
            int mark = whole.indexOf(INFO_MARK);
            String head = mark < 0 ? whole : whole.substring(0, mark);
            Matcher coded = CODED.matcher(head);
            boolean hasCode = coded.matches();
            message = ReadableText.messageOf(whole, "The native library");
            prefix = hasCode ? coded.group(1) : "";
            code = hasCode ? Integer.parseInt(coded.group(2)) : -1;
            text = (hasCode ? coded.group(3) : head).trim();
            runtimeInfo = mark < 0 ? "" : whole.substring(mark + INFO_MARK.length());
        }

        boolean isDeadline() {
            return NETWORK_CLIENT.equals(prefix)
                    && (code == NOT_BEGUN_IN_TIME || code == NOT_ANSWERED_IN_TIME);
        }
    }
}
