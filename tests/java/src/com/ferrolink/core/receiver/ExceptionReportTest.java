package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("An exception report")
final class ExceptionReportTest {

    private static final StackTraceElement FRAME = new StackTraceElement("a.B", "c", "B.java", 12);

    private static Exception exception(String message, Throwable cause, int frames) {
        Exception exception = new Exception(message, cause);
        StackTraceElement[] trace = new StackTraceElement[frames];
        Arrays.fill(trace, FRAME);
        exception.setStackTrace(trace);
        return exception;
    }

    private static long count(String text, String part) {
        return text.split(java.util.regex.Pattern.quote(part), -1).length - 1L;
    }

    @Test
    @DisplayName("shows class, message, frames, the whole cause chain and what was suppressed")
    void everything() {
        Exception root = exception("root", null, 1);
        root.addSuppressed(exception("closing failed", exception("why", null, 0), 1));
        Exception top = exception("top", exception(null, root, 1), 2);
        assertEquals("java.lang.Exception: top\n"
                + "    at a.B.c(B.java:12)\n"
                + "    at a.B.c(B.java:12)\n"
                + "Caused by: java.lang.Exception\n"
                + "    at a.B.c(B.java:12)\n"
                + "Caused by: java.lang.Exception: root\n"
                + "    at a.B.c(B.java:12)\n"
                + "    Suppressed: java.lang.Exception: closing failed\n"
                + "        at a.B.c(B.java:12)\n"
                + "    Caused by: java.lang.Exception: why\n", ExceptionReport.render(top));
    }

    @Test
    @DisplayName("ends where a chain of causes bites its own tail")
    void causeCycle() {
        Exception first = new Exception("first");
        first.setStackTrace(new StackTraceElement[0]);
        first.initCause(exception("second", first, 0));
        assertEquals("java.lang.Exception: first\n"
                + "Caused by: java.lang.Exception: second\n"
                + "Caused by: java.lang.Exception (described above)\n", ExceptionReport.render(first));
    }

    @Test
    @DisplayName("ends where exceptions suppress each other")
    void suppressionCycle() {
        Exception first = exception("first", null, 0);
        Exception second = exception("second", null, 0);
        first.addSuppressed(second);
        second.addSuppressed(first);
        assertEquals("java.lang.Exception: first\n"
                + "    Suppressed: java.lang.Exception: second\n"
                + "        Suppressed: java.lang.Exception (described above)\n",
                ExceptionReport.render(first));
    }

    @Test
    @DisplayName("describes 64 exceptions, not more, and says so once")
    void manyThrowables() {
        Exception chain = exception("last", null, 0);
        for (int count = 0; count < 80; count++) {
            chain = exception("link", chain, 0);
            chain.addSuppressed(exception("aside", null, 0));
        }
        String text = ExceptionReport.render(chain);
        assertEquals(64, count(text, "java.lang.Exception: "));
        assertTrue(text.endsWith("\n... further causes and suppressed exceptions are left out\n"), text);
        assertEquals(1, count(text, "left out"));
    }

    @Test
    @DisplayName("ends although every cause makes up another one")
    void endlessCauses() {
        String text = ExceptionReport.render(new EndlessException());
        assertEquals(64, count(text, "EndlessException: on and on\n"));
    }

    private static final class EndlessException extends Exception {

        private static final long serialVersionUID = 1L;

        EndlessException() {
            super("on and on", null, false, false);
        }

        @Override
        public synchronized Throwable getCause() {
            return new EndlessException();
        }
    }

    @Test
    @DisplayName("cuts messages of more than 65536 characters")
    void longMessage() {
        String message = "m".repeat(65536);
        assertEquals("java.lang.Exception: " + message + "\n",
                ExceptionReport.render(exception(message, null, 0)));
        assertEquals("java.lang.Exception: " + message + "... 5 more characters\n",
                ExceptionReport.render(exception(message + "12345", null, 0)));
    }

    @Test
    @DisplayName("goes on behind a Throwable whose message, frames and cause cannot be read")
    void hostileSuppressed() {
        Exception top = exception("top", null, 0);
        top.addSuppressed(new HostileError());
        top.addSuppressed(exception("after", null, 0));
        assertEquals("java.lang.Exception: top\n"
                + "    Suppressed: com.ferrolink.core.receiver.HostileError (message unavailable:"
                + " java.lang.UnsupportedOperationException)\n"
                + "        (frames unavailable: java.lang.UnsupportedOperationException)\n"
                + "    Suppressed: java.lang.Exception: after\n", ExceptionReport.render(top));
    }

    @Test
    @DisplayName("is sent as an exception reply in UTF-8")
    void reply() {
        assertEquals("java.lang.Exception: größer \u65e5\n", Replies.exceptionText(
                ExceptionReport.reply((byte) 3, exception("größer \u65e5", null, 0)), 3));
    }

    @Test
    @DisplayName("has a form of one line, with at most eight causes")
    void summary() {
        assertEquals("java.lang.Exception: top; caused by java.lang.Exception; caused by"
                + " java.lang.Exception: root", ExceptionReport.summary(
                        exception("top", exception(null, exception("root", null, 1), 1), 1)));
        assertEquals(8, count(ExceptionReport.summary(new EndlessException()), "on and on"));
    }

    @Test
    @DisplayName("shows 100 frames of each exception and counts the others")
    void manyFrames() {
        String text = ExceptionReport.render(exception("deep", null, 103));
        assertEquals(100, count(text, "    at a.B.c(B.java:12)\n"));
        assertTrue(text.endsWith("\n    ... 3 more frames\n"), text);
        assertEquals(100, count(ExceptionReport.render(exception("deep", null, 100)), "\n    "));
    }
}
