package com.ferrolink.core.receiver;

import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.Set;

/**
 * The text of an exception report: class, message and frames of a Throwable, its suppressed exceptions
 * and its causes. Every part is bounded. A part that throws is replaced by a note: Throwables are users'
 * code and may be broken in any way.
 */
final class ExceptionReport {

    /** The maximum number of Throwables in a report, suppressed ones included. */
    static final int MAXIMUM_THROWABLES = 64;
    /** The maximum number of frames of each Throwable. */
    static final int MAXIMUM_FRAMES = 100;
    /** The maximum number of characters of each message. */
    static final int MAXIMUM_MESSAGE = 64 * 1024;

    private static final int MAXIMUM_SUMMARY = 8;
    private static final String INDENT = "    ";
    private static final Throwable[] NONE = {};

    private final StringBuilder text = new StringBuilder(1024);
    private final Set<Throwable> described =
            Collections.newSetFromMap(new IdentityHashMap<Throwable, Boolean>());
    private boolean full;

    private ExceptionReport() {
    }

    /** Loads every class that a report needs: an exhausted heap has no room for that. */
    static void prepare() {
        Throwable sample = new IllegalStateException("sample", new Error("cause"));
        sample.addSuppressed(new Error("suppressed"));
        reply((byte) 0, sample);
        LastResortReply.to((byte) 0);
    }

    /**
     * An exception report about a Throwable. Never throws: without memory or stack for the whole text,
     * the report is brief, or a prepared one.
     */
    static byte[] reply(byte caller, Throwable failure) {
        try {
            return ReplyFrame.exception(caller, render(failure));
        } catch (Throwable noRoom) {
            return briefReply(caller, failure);
        }
    }

    private static byte[] briefReply(byte caller, Throwable failure) {
        try {
            return ReplyFrame.exception(caller,
                    failure.getClass().getName() + " (too little memory or stack left to say more)");
        } catch (Throwable noRoom) {
            return LastResortReply.to(caller);
        }
    }

    static String render(Throwable failure) {
        ExceptionReport report = new ExceptionReport();
        report.addChain(failure, "", "");
        return report.text.toString();
    }

    /** Classes and messages of a Throwable and its causes on one line. */
    static String summary(Throwable failure) {
        StringBuilder line = new StringBuilder();
        Throwable current = failure;
        for (int count = 0; current != null && count < MAXIMUM_SUMMARY; count++) {
            line.append(count == 0 ? "" : "; caused by ").append(headline(current));
            current = causeOf(current);
        }
        return line.toString();
    }

    private void addChain(Throwable first, String firstLabel, String indent) {
        String label = firstLabel;
        Throwable current = first;
        while (current != null && add(current, label, indent)) {
            label = "Caused by: ";
            current = causeOf(current);
        }
    }

    /** Returns whether to go on with the cause. */
    private boolean add(Throwable failure, String label, String indent) {
        if (full) {
            return false;
        }
        if (described.size() == MAXIMUM_THROWABLES) {
            full = true;
            text.append("... further causes and suppressed exceptions are left out\n");
            return false;
        }
        if (!described.add(failure)) {
            text.append(indent).append(label).append(failure.getClass().getName())
                    .append(" (described above)\n");
            return false;
        }
        text.append(indent).append(label).append(headline(failure)).append('\n');
        addFrames(failure, indent + INDENT);
        for (Throwable suppressed : suppressedOf(failure)) {
            addChain(suppressed, "Suppressed: ", indent + INDENT);
        }
        return true;
    }

    private void addFrames(Throwable failure, String indent) {
        StackTraceElement[] frames;
        try {
            frames = failure.getStackTrace();
        } catch (Throwable broken) {
            text.append(indent).append("(frames unavailable: ").append(broken.getClass().getName())
                    .append(")\n");
            return;
        }
        if (frames == null) {
            return;
        }
        int shown = Math.min(frames.length, MAXIMUM_FRAMES);
        for (int index = 0; index < shown; index++) {
            text.append(indent).append("at ").append(frames[index]).append('\n');
        }
        if (shown < frames.length) {
            text.append(indent).append("... ").append(frames.length - shown).append(" more frames\n");
        }
    }

    private static String headline(Throwable failure) {
        String name = failure.getClass().getName();
        String message;
        try {
            message = failure.getMessage();
        } catch (Throwable broken) {
            return name + " (message unavailable: " + broken.getClass().getName() + ")";
        }
        if (message == null) {
            return name;
        }
        if (message.length() <= MAXIMUM_MESSAGE) {
            return name + ": " + message;
        }
        return name + ": " + message.substring(0, MAXIMUM_MESSAGE) + "... "
                + (message.length() - MAXIMUM_MESSAGE) + " more characters";
    }

    private static Throwable causeOf(Throwable failure) {
        try {
            return failure.getCause();
        } catch (Throwable broken) {
            return null;
        }
    }

    private static Throwable[] suppressedOf(Throwable failure) {
        try {
            return failure.getSuppressed();
        } catch (Throwable broken) {
            return NONE;
        }
    }
}
