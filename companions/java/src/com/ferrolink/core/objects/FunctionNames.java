package com.ferrolink.core.objects;

import java.util.Map;
import java.util.TreeMap;

/**
 * The methods that a function of the C++ member implements, and the form in which it wants their
 * parameters. Immutable; used as a key in maps.
 */
final class FunctionNames {

    /** The name that means every abstract method. */
    private static final String ANY = "";

    /** The wanted forms of parameters, one char each, by method name. */
    private final Map<String, String> wants;

    private FunctionNames(Map<String, String> wants) {
        this.wants = wants;
    }

    /** Reads the names. No name at all means every abstract method. */
    static FunctionNames read(WireReader wire) {
        Map<String, String> wants = new TreeMap<>();
        int count = wire.count(Integer.BYTES + 1);
        for (int index = 0; index < count; index++) {
            String name = wire.text();
            char[] forms = new char[wire.u8()];
            for (int parameter = 0; parameter < forms.length; parameter++) {
                forms[parameter] = (char) ValueWriter.want(wire);
                if (forms[parameter] == ValueWriter.WANT_NOTHING) {
                    throw wire.malformed(1, "a parameter is wanted as an object or as a value.");
                }
            }
            wants.put(name, new String(forms));
        }
        if (count == 0) {
            wants.put(ANY, "");
        }
        return new FunctionNames(wants);
    }

    /** Whether there is one function without a name only. */
    boolean isSingle() {
        return wants.size() == 1 && wants.containsKey(ANY);
    }

    /** The names, without the empty one. */
    Iterable<String> names() {
        Map<String, String> named = new TreeMap<>(wants);
        named.remove(ANY);
        return named.keySet();
    }

    /** Whether a function implements the method. */
    boolean has(String name, boolean isAbstract) {
        return wants.containsKey(name) || isAbstract && wants.containsKey(ANY);
    }

    /** The wanted forms of a method's parameters; null if the declared types decide. */
    String wantsOf(String name, int parameters) {
        String found = wants.getOrDefault(name, wants.get(ANY));
        return found != null && found.length() == parameters && parameters > 0 ? found : null;
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof FunctionNames && wants.equals(((FunctionNames) other).wants);
    }

    @Override
    public int hashCode() {
        return wants.hashCode();
    }
}
