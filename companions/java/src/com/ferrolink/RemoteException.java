package com.ferrolink;

/**
 * An exception report of the target: the command arrived, and what it asked for failed over there.
 *
 * <p><b>Threads:</b> immutable but for what every Throwable can be given; safe for any thread.
 */
public class RemoteException extends RuntimeException {

    private static final long serialVersionUID = 1L;

    /** The report, possibly empty. */
    private final String remoteText;

    RemoteException(String remoteText) {
        super(ReadableText.messageOf(remoteText, "The target"));
        this.remoteText = remoteText;
    }

    /**
     * The report, as the target wrote it: usually the class and the message of what was thrown, its
     * causes and frames. Malformed UTF-8 in it is replaced by U+FFFD.
     *
     * @return the same text as {@link #getMessage}, but for one that is empty or not readable, of which
     *     the message says so; never null
     */
    public String remoteText() {
        return remoteText;
    }
}
