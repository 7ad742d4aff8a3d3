package com.ferrolink.bench;

/** What typed calls are measured with, beside methods of the JDK: arrays in and out. */
public final class Numbers {

    /** 1 MiB. */
    private static final double[] MANY = new double[1 << 17];

    static {
        for (int i = 0; i < MANY.length; i++) {
            MANY[i] = i;
        }
    }

    private Numbers() {
    }

    /** Reads one element of each KiB, so that the cost is that of the transfer. */
    public static double sum(double[] numbers) {
        double sum = 0;
        for (int i = 0; i < numbers.length; i += 128) {
            sum += numbers[i];
        }
        return sum;
    }

    public static double[] many() {
        return MANY;
    }
}
