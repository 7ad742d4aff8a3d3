package com.ferrolink;

import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * A failure of the native libraries: the command did not reach its target, or its answer did not come
 * back. What a target's own code throws is a {@link RemoteException} instead.
 *
 * <p>{@link #getMessage} is the whole text as the native library gave it; {@link #prefix},
 * {@link #code}, {@link #text} and {@link #runtimeInfo} are its parts. A code means something only
 * together with its prefix.
 *
 * <p><b>Threads:</b> immutable but for what every Throwable can be given; safe for any thread.
 */
public class FerrolinkException extends RuntimeException {

    private static final long serialVersionUID = 1L;

    private static final String INFO_MARK = "\nRUNTIME INFO:\n";
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

    /** A failure of this package's own, which has no parts. */
    FerrolinkException(String message, Throwable cause) {
        super(message, cause);
        prefix = "";
        code = -1;
        text = message;
        runtimeInfo = "";
    }

    private FerrolinkException(String message, String prefix, int code, String text,
            String runtimeInfo) {
        super(message);
        this.prefix = prefix;
        this.code = code;
        this.text = text;
        this.runtimeInfo = runtimeInfo;
    }

    /**
     * Takes apart a text of the native library. For programs that call
     * {@link com.ferrolink.core.transmitter.TransmitterWrapper} themselves.
     *
     * @param nativeText any text; null is taken for an empty one
     * @return the exception, not thrown; its parts are empty where the text lacks them
     */
    public static FerrolinkException ofNativeText(String nativeText) {
        String message = nativeText == null ? "" : nativeText;
        int mark = message.indexOf(INFO_MARK);
        String head = mark < 0 ? message : message.substring(0, mark);
        String info = mark < 0 ? "" : message.substring(mark + INFO_MARK.length());
        Matcher coded = CODED.matcher(head);
        if (coded.matches()) {
            return new FerrolinkException(message, coded.group(1), Integer.parseInt(coded.group(2)),
                    coded.group(3).trim(), info);
        }
        return new FerrolinkException(message, "", -1, head.trim(), info);
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
}
