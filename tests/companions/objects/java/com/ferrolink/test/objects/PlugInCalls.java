package com.ferrolink.test.objects;

import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.IntUnaryOperator;

/** A Java program that calls typed functions of a plug-in library: PlugInCalls LIBRARY. */
public final class PlugInCalls {

    /** The functions of the plug-in. */
    public interface PlugIn {
        List<Integer> makeList(int size);

        int sumOnAThread(List<Integer> list);

        IntUnaryOperator makeAdder(int summand);

        int apply(IntUnaryOperator function, int value);
    }

    private PlugInCalls() {
    }

    public static void main(String[] arguments) {
        List<String> seen = new ArrayList<>();
        try (Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP)) {
            cpp.loadLibrary(arguments[0]);
            String early = new String(cpp.call("tryEarly", new byte[0]), StandardCharsets.UTF_8);
            seen.add(early.contains("Ferrolink.onCommands()") ? "told" : early);
            PlugIn plugIn = cpp.as(PlugIn.class);
            seen.add(plugIn.makeList(4).toString());
            seen.add("" + plugIn.sumOnAThread(Arrays.asList(1, 2, 3)));
            seen.add("" + plugIn.makeAdder(40).applyAsInt(2));
            seen.add("" + plugIn.apply(value -> value * 2, 21));
        }
        List<String> expected = Arrays.asList("told", "[0, 1, 2, 3]", "6", "42", "42");
        if (!seen.equals(expected)) {
            throw new AssertionError(seen + " instead of " + expected);
        }
        System.out.println(seen);
    }
}
