package com.ferrolink.bench;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Locale;
import java.util.Random;
import java.util.function.LongSupplier;

/** Compares contenders; bench/harness/Rounds.h explains the method. */
final class Rounds {

    private static final double MILLISECOND = 1e6;
    private static final long FEWEST_CALLS = 4;
    private static final long SEED = 1;

    private final String unit;
    private final int size;
    private final List<Contender> contenders;
    private final LongSupplier clock;
    private final double[][] nanoseconds;

    private Rounds(String unit, int size, List<Contender> contenders, int rounds, LongSupplier clock) {
        this.unit = unit;
        this.size = size;
        this.contenders = contenders;
        this.clock = clock;
        this.nanoseconds = new double[contenders.size()][rounds];
    }

    /** The first contender is the baseline of the ratios. The clock has nanoseconds. */
    static Rounds measure(String unit, int size, List<Contender> contenders, Options options,
            LongSupplier clock) throws Throwable {
        Rounds result = new Rounds(unit, size, contenders, options.rounds, clock);
        long[] calls = new long[contenders.size()];
        List<Integer> order = new ArrayList<>();
        for (Contender contender : contenders) {
            contender.prepare(size);
            double perCall = result.warmUp(contender, options.warmUpMilliseconds);
            if (!contender.answeredRight()) {
                throw new IllegalStateException(contender.name + " answers something else");
            }
            calls[order.size()] = Math.max(FEWEST_CALLS,
                    Math.round(options.batchMilliseconds * MILLISECOND / perCall));
            order.add(order.size());
        }
        Random random = new Random(SEED);
        for (int round = 0; round < options.rounds; round++) {
            Collections.shuffle(order, random);
            for (int which : order) {
                Contender contender = contenders.get(which);
                contender.run(1 + calls[which] / 10);
                result.nanoseconds[which][round] = result.time(contender, calls[which]) / calls[which];
            }
        }
        return result;
    }

    private double warmUp(Contender contender, double milliseconds) throws Throwable {
        double spent = 0;
        double perCall = 0;
        for (long calls = 1; spent < milliseconds * MILLISECOND;) {
            double took = time(contender, calls);
            spent += took;
            perCall = took / calls;
            if (took < MILLISECOND) {
                calls *= 2;
            }
        }
        return perCall;
    }

    private double time(Contender contender, long calls) throws Throwable {
        long begin = clock.getAsLong();
        contender.run(calls);
        return clock.getAsLong() - begin;
    }

    void printTable() {
        System.out.println(unit + ", " + size + " bytes");
        for (int which = 0; which < nanoseconds.length; which++) {
            double[] ratios = nanoseconds[which].clone();
            for (int round = 0; round < ratios.length; round++) {
                ratios[round] /= nanoseconds[0][round];
            }
            System.out.printf(Locale.ROOT, "  %-24s %12.1f ns   %6.3f  [%.3f .. %.3f]%n",
                    contenders.get(which).name, quantile(nanoseconds[which], 0.5), quantile(ratios, 0.5),
                    quantile(ratios, 0.25), quantile(ratios, 0.75));
        }
    }

    /** All rounds as one line of JSON. */
    void write(PrintStream file) {
        StringBuilder series = new StringBuilder();
        for (int which = 0; which < nanoseconds.length; which++) {
            series.append(which > 0 ? ", " : "").append('"').append(contenders.get(which).name)
                    .append("\": ").append(Arrays.toString(nanoseconds[which]));
        }
        file.println("{\"unit\": \"" + unit + "\", \"size\": " + size + ", \"series\": {" + series + "}}");
    }

    private static double quantile(double[] values, double share) {
        double[] sorted = values.clone();
        Arrays.sort(sorted);
        return sorted[(int) Math.round(share * (sorted.length - 1))];
    }
}
