package com.ferrolink.bench;

import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.transmitter.TransmitterWrapper;
import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.lang.management.ManagementFactory;
import java.lang.reflect.Constructor;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.Function;
import java.util.function.LongSupplier;

/** Java calls C++ in the same process: through the library, by hand, and through other bridges. */
public final class CallCpp {

    private final Options options;
    private final PrintStream json;

    private CallCpp(Options options, PrintStream json) {
        this.options = options;
        this.json = json;
    }

    public static void main(String[] arguments) throws Throwable {
        Options options = Options.parse(arguments);
        try (PrintStream json = options.json.isEmpty()
                ? new PrintStream(new ByteArrayOutputStream()) : new PrintStream(options.json, "UTF-8")) {
            CallCpp benchmark = new CallCpp(options, json);
            for (String unit : options.units) {
                benchmark.measure(unit);
            }
        }
    }

    private void measure(String unit) throws Throwable {
        switch (unit) {
            case "call":
                measure("Java to C++", calls());
                break;
            case "round-trip":
                measure("Java to C++ to Java", roundTrips());
                break;
            case "ferrolink-call":
                // CPU time: the collector works more for some than for others.
                measure("Java to C++, Ferrolink.call", publicCalls(),
                        ManagementFactory.getThreadMXBean()::getCurrentThreadCpuTime);
                break;
            case "peers":
                measure("Java to C++, peers", peers());
                break;
            default:
                throw new IllegalArgumentException("no such unit: " + unit);
        }
    }

    private void measure(String title, List<Contender> contenders) throws Throwable {
        measure(title, contenders, System::nanoTime);
    }

    private void measure(String title, List<Contender> contenders, LongSupplier clock) throws Throwable {
        for (int size : options.sizes) {
            Rounds rounds = Rounds.measure(title, size, contenders, options, clock);
            rounds.printTable();
            rounds.write(json);
        }
    }

    private static Ferrolink cppWithEcho() {
        // The first command fixes which runtime drives the process.
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(System.getProperty("bench.plugIn"));
        return cpp;
    }

    private static List<Contender> calls() {
        Ferrolink cpp = cppWithEcho();
        return Arrays.asList(
                new Natives.SameSequence(Commands.ANSWER_ITSELF),
                new Natives.OneCall("one JNI call, new array"),
                new Natives.Ours(Commands.ANSWER_ITSELF),
                new Natives.CppMember(),
                new Natives.PublicInterface("ours, Ferrolink.call", cpp));
    }

    private static List<Contender> publicCalls() {
        Ferrolink cpp = cppWithEcho();
        return Arrays.asList(
                new Natives.OneCall("by hand"),
                new Natives.SameSequence(Commands.ANSWER_ITSELF),
                new Natives.PublicInterface("ours", cpp),
                new Natives.PublicBuffers("ours, into a buffer", cpp));
    }

    private static List<Contender> roundTrips() {
        Function<Object, Object> echo = command -> command;
        HandWritten.setCallback(echo);
        TransmitterWrapper.setCallback(echo);
        return Arrays.asList(
                new Natives.SameSequence(Commands.THROUGH_HAND_WRITTEN),
                new Natives.Ours(Commands.THROUGH_LIBRARY));
    }

    private List<Contender> peers() throws ReflectiveOperationException {
        List<Contender> contenders = new ArrayList<>();
        contenders.add(new Natives.Ours(Commands.ANSWER_ITSELF));
        for (String peer : options.peers) {
            Constructor<?> constructor = Class.forName("com.ferrolink.bench." + peer)
                    .getDeclaredConstructor();
            contenders.add((Contender) constructor.newInstance());
        }
        return contenders;
    }
}
