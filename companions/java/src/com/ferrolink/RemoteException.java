package com.ferrolink;

/**
 * An exception report of the target: the command arrived, and what it asked for failed over there.
 *
 * <p><b>Threads:</b> immutable but for what every Throwable can be given; safe for any thread.
 */
public class RemoteException extends RuntimeException {

    private static final long serialVersionUID = 1L;

    RemoteException(String remoteText) {
        super(remoteText);
    }

    /**
     * The report, as the target wrote it: usually the class and the message of what was thrown, its
     * causes and frames. Malformed UTF-8 in it is replaced by U+FFFD.
     *
     * @return the same text as {@link #getMessage}, never null
     */
    public String remoteText() {
        return getMessage();
    }
}
