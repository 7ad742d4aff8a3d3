package com.ferrolink;

import java.time.Duration;

/** The moment at which a caller gives up. Immutable, safe for any thread. */
final class Deadline {

    /** As many milliseconds as a command can say; longer limits count as this. */
    static final long LONGEST_MILLISECONDS = 0xFFFF_FFFFL;

    private static final long NANOSECONDS = 1_000_000;

    private final long milliseconds;
    private final long end;

    private Deadline(long nanoseconds, long milliseconds) {
        this.end = System.nanoTime() + nanoseconds;
        this.milliseconds = milliseconds;
    }

    /** From now on. A limit of zero or less is over at once. */
    static Deadline after(Duration limit) {
        if (limit.isNegative() || limit.isZero()) {
            return new Deadline(0, 0);
        }
        if (limit.compareTo(Duration.ofMillis(LONGEST_MILLISECONDS)) >= 0) {
            return new Deadline(LONGEST_MILLISECONDS * NANOSECONDS, LONGEST_MILLISECONDS);
        }
        return new Deadline(limit.toNanos(), roundedUp(limit.toNanos()));
    }

    /** 0 or less where the time is over. */
    long nanosecondsLeft() {
        return end - System.nanoTime();
    }

    /** What a command is to say: 0 only where the time is over. */
    long millisecondsLeft() {
        return roundedUp(Math.max(nanosecondsLeft(), 0));
    }

    /** The whole limit, for people. */
    @Override
    public String toString() {
        return milliseconds + " ms";
    }

    private static long roundedUp(long nanoseconds) {
        return (nanoseconds + NANOSECONDS - 1) / NANOSECONDS;
    }
}
