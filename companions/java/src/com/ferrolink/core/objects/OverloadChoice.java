package com.ferrolink.core.objects;

import java.util.ArrayList;
import java.util.List;

/**
 * Chooses among overloads as the Java language does. The first phase allows no boxing, the second
 * allows boxing, the third allows a variable number of arguments. The first phase with an applicable
 * overload decides. Among its applicable overloads, the most specific one wins.
 */
final class OverloadChoice {

    private enum Phase { STRICT, LOOSE, VARIABLE }

    private final Overload overload;
    private final boolean spread;

    private OverloadChoice(Overload overload, boolean spread) {
        this.overload = overload;
        this.spread = spread;
    }

    /** The chosen overload. */
    Overload overload() {
        return overload;
    }

    /** Whether the last arguments are collected in an array. */
    boolean spread() {
        return spread;
    }

    /**
     * @param types the types of the arguments; null for the null reference
     * @param what the member, for error texts
     * @throws Refusal with the candidates, if no overload fits, or several do
     */
    static OverloadChoice among(List<Overload> overloads, Class<?>[] types, String what) {
        for (Phase phase : Phase.values()) {
            List<Overload> fitting = fitting(overloads, types, phase);
            if (!fitting.isEmpty()) {
                List<Overload> best = mostSpecific(fitting, types.length, phase);
                if (best.size() > 1) {
                    throw refusal(what + Signature.of(types, false) + " is ambiguous.", best);
                }
                return new OverloadChoice(best.get(0), phase == Phase.VARIABLE);
            }
        }
        throw refusal("Nothing fits " + what + Signature.of(types, false) + '.', overloads);
    }

    private static Refusal refusal(String text, List<Overload> candidates) {
        StringBuilder all = new StringBuilder(text).append(" Candidates:");
        for (Overload candidate : candidates) {
            all.append("\n  ").append(candidate);
        }
        return new Refusal(Refusal.NO_OVERLOAD, all.toString());
    }

    private static List<Overload> fitting(List<Overload> overloads, Class<?>[] types, Phase phase) {
        List<Overload> fitting = new ArrayList<>();
        for (Overload overload : overloads) {
            if (fits(overload, types, phase)) {
                fitting.add(overload);
            }
        }
        return fitting;
    }

    private static boolean fits(Overload overload, Class<?>[] types, Phase phase) {
        int count = overload.parameters().length;
        if (phase == Phase.VARIABLE ? !overload.isVarargs() || types.length < count - 1
                : types.length != count) {
            return false;
        }
        for (int index = 0; index < types.length; index++) {
            Class<?> parameter = parameterAt(overload, index, phase);
            boolean fits = phase == Phase.STRICT ? Conversions.isStrict(types[index], parameter)
                    : Conversions.isLoose(types[index], parameter);
            if (!fits) {
                return false;
            }
        }
        return true;
    }

    /** In the third phase, the last parameter is repeated with the element type of its array. */
    private static Class<?> parameterAt(Overload overload, int index, Phase phase) {
        Class<?>[] parameters = overload.parameters();
        int last = parameters.length - 1;
        return phase == Phase.VARIABLE && index >= last ? parameters[last].getComponentType()
                : parameters[index];
    }

    private static List<Overload> mostSpecific(List<Overload> fitting, int count, Phase phase) {
        List<Overload> best = new ArrayList<>();
        for (Overload candidate : fitting) {
            boolean beaten = false;
            for (Overload other : fitting) {
                beaten |= other != candidate && isMoreSpecific(other, candidate, count, phase)
                        && !isMoreSpecific(candidate, other, count, phase);
            }
            if (!beaten) {
                best.add(candidate);
            }
        }
        return best;
    }

    private static boolean isMoreSpecific(Overload one, Overload other, int arguments, Phase phase) {
        int count = arguments;
        if (phase == Phase.VARIABLE && other.parameters().length == arguments + 1) {
            count++;
        }
        for (int index = 0; index < count; index++) {
            if (!Conversions.isSubtype(parameterAt(one, index, phase), parameterAt(other, index, phase))) {
                return false;
            }
        }
        return true;
    }
}
