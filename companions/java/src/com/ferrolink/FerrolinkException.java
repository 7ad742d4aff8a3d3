package com.ferrolink;

import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * A failure of the native libraries: the command did not reach its target, or its answer did not come
 * back. What a target's own code throws is a {@link RemoteException} instead.
 *
 * <p>{@link #getMessage} is the whole text as the native library gave it, or says that it is empty or
 * not readable; {@link #prefix}, {@link #code}, {@link #text} and {@link #runtimeInfo} are its parts. A
 * code means something only together with its prefix. {@link #mayHaveExecuted} tells whether it is safe
 * to send the command again.
 *
 * <p><b>Threads:</b> immutable but for what every Throwable can be given; safe for any thread.
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
    /** What is said beyond prefix and code. */
    private final String text;
    /** What the failed runtime said of itself, or empty. */
    private final String runtimeInfo;

    /** Whether the command may have been executed. */
    private final boolean mayHaveExecuted;

    /** A failure of this package's own, which has no parts. */
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
     * Takes apart a text of the native library that a command failed with. For programs that call
     * {@link com.ferrolink.core.transmitter.TransmitterWrapper} themselves.
     *
     * @param nativeText any text; null is taken for an empty one
     * @return the exception, not thrown, a {@link DeadlineExceededException} where the text says so; its
     *     parts are empty where the text lacks them. What {@link #mayHaveExecuted} says of it holds for
     *     a text of {@code sendCommand}; once that has succeeded, the command was executed.
     */
    public static FerrolinkException ofNativeText(String nativeText) {
        return new NativeText(nativeText, false).toException();
    }

    /**
     * The component that failed.
     *
     * @return {@code JVM Launcher}, {@code Ferrolink Native Exception} or {@code JVM Lib}, or what
     *     another member of the family calls its own; empty if the text has no code
     */
    public String prefix() {
        return prefix;
    }

    /**
     * The number of the failure among those of its component.
     *
     * @return 0 or more; -1 if the text has none
     */
    public int code() {
        return code;
    }

    /**
     * What is said beyond prefix and code, without white space around it.
     *
     * @return never null; empty if the text is nothing but a prefix and a code
     */
    public String text() {
        return text;
    }

    /**
     * What the failed runtime said of itself.
     *
     * @return lines of text; empty if the text has no such part
     */
    public String runtimeInfo() {
        return runtimeInfo;
    }

    /**
     * Whether the command may have been executed, and must not be repeated unless that does no harm.
     *
     * @return false if the failure is known to come before the execution of the command; true in all
     *     other cases, also where nobody knows
     */
    public boolean mayHaveExecuted() {
        return mayHaveExecuted;
    }

    /** A text as the native library gave it, to be taken apart on the thread that gets the exception. */
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

    /** What a native text consists of. */
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
