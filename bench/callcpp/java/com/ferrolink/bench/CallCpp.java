package com.ferrolink.bench;

import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import com.ferrolink.core.transmitter.TransmitterWrapper;
import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.lang.reflect.Constructor;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.Function;

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
            case "peers":
                measure("Java to C++, peers", peers());
                break;
            default:
                throw new IllegalArgumentException("no such unit: " + unit);
        }
    }

    private void measure(String title, List<Contender> contenders) throws Throwable {
        for (int size : options.sizes) {
            Rounds rounds = Rounds.measure(title, size, contenders, options);
            rounds.printTable();
            rounds.write(json);
        }
    }

    private static List<Contender> calls() {
        // The first command fixes which runtime drives the process.
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        cpp.loadLibrary(System.getProperty("bench.plugIn"));
        return Arrays.asList(
                new Natives.SameSequence(Commands.ANSWER_ITSELF),
                new Natives.OneCall(),
                new Natives.Ours(Commands.ANSWER_ITSELF),
                new Natives.CppMember(),
                new Natives.PublicInterface(cpp));
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
