package com.ferrolink;

/**
 * An exception report of the target: the command arrived and failed there.
 *
 * <p><b>Threads:</b> immutable, except for what every Throwable allows; thread-safe.
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
     * The report as the target wrote it: usually class and message of the exception, its causes and
     * frames. U+FFFD replaces malformed UTF-8.
     *
     * @return never null. {@link #getMessage} is the same text, or says that it is empty or not readable.
     */
    public String remoteText() {
        return remoteText;
    }
}
