package com.ferrolink.bench;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** The command line: "--name value" pairs. */
final class Options {

    int rounds = 100;
    double warmUpMilliseconds = 500;
    double batchMilliseconds = 1;
    String json = "";
    List<Integer> sizes = new ArrayList<>(Arrays.asList(64, 1024, 65536, 1048576));
    List<String> units = Arrays.asList("call", "round-trip");
    List<String> peers = new ArrayList<>();

    static Options parse(String[] arguments) {
        Options options = new Options();
        for (int i = 0; i + 1 < arguments.length; i += 2) {
            options.set(arguments[i], arguments[i + 1]);
        }
        if (arguments.length % 2 != 0) {
            throw usage();
        }
        return options;
    }

    private void set(String name, String value) {
        switch (name) {
            case "--rounds":
                rounds = Integer.parseInt(value);
                break;
            case "--warm-up":
                warmUpMilliseconds = Double.parseDouble(value);
                break;
            case "--batch":
                batchMilliseconds = Double.parseDouble(value);
                break;
            case "--json":
                json = value;
                break;
            case "--sizes":
                sizes.clear();
                for (String size : value.split(",")) {
                    sizes.add(Integer.parseInt(size));
                }
                break;
            case "--units":
                units = Arrays.asList(value.split(","));
                break;
            case "--peers":
                peers = Arrays.asList(value.split(","));
                break;
            default:
                throw usage();
        }
    }

    private static IllegalArgumentException usage() {
        return new IllegalArgumentException("arguments: [--sizes LIST] [--units call,round-trip,peers]"
                + " [--peers CLASS,...] [--rounds N] [--warm-up MILLISECONDS] [--batch MILLISECONDS]"
                + " [--json FILE]");
    }
}
