package com.ferrolink;

import java.time.Duration;

/** The moment at which a caller gives up. Immutable and thread-safe. */
final class Deadline {

    /** The longest limit that fits into a command. Longer limits are cut to this. */
    static final long LONGEST_MILLISECONDS = 0xFFFF_FFFFL;

    private static final long NANOSECONDS = 1_000_000;

    private final long milliseconds;
    private final long end;

    private Deadline(long nanoseconds, long milliseconds) {
        this.end = System.nanoTime() + nanoseconds;
        this.milliseconds = milliseconds;
    }

    /** A limit that starts now. One of zero or less is over at once. */
    static Deadline after(Duration limit) {
        if (limit.isNegative() || limit.isZero()) {
            return new Deadline(0, 0);
        }
        if (limit.compareTo(Duration.ofMillis(LONGEST_MILLISECONDS)) >= 0) {
            return new Deadline(LONGEST_MILLISECONDS * NANOSECONDS, LONGEST_MILLISECONDS);
        }
        return new Deadline(limit.toNanos(), roundedUp(limit.toNanos()));
    }

    /** Zero or less if the time is over. */
    long nanosecondsLeft() {
        return end - System.nanoTime();
    }

    /** The time limit for a command, rounded up: 0 only if the time is over. */
    long millisecondsLeft() {
        return roundedUp(Math.max(nanosecondsLeft(), 0));
    }

    /** The whole limit. */
    @Override
    public String toString() {
        return milliseconds + " ms";
    }

    private static long roundedUp(long nanoseconds) {
        return (nanoseconds + NANOSECONDS - 1) / NANOSECONDS;
    }
}
