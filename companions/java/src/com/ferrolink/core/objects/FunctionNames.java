package com.ferrolink.core.objects;

import java.util.Map;
import java.util.TreeMap;

/**
 * Which methods of an interface a function of the C++ member has, and as what it wants their parameters.
 * Immutable, a key of maps.
 */
final class FunctionNames {

    /** Stands for every abstract method. */
    private static final String ANY = "";

    /** The wanted forms of parameters, one char each, by name. */
    private final Map<String, String> wants;

    private FunctionNames(Map<String, String> wants) {
        this.wants = wants;
    }

    /** No names are the same as one for every abstract method. */
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

    /** Whether this is one function without a name. */
    boolean isSingle() {
        return wants.size() == 1 && wants.containsKey(ANY);
    }

    /** The names of methods. */
    Iterable<String> names() {
        Map<String, String> named = new TreeMap<>(wants);
        named.remove(ANY);
        return named.keySet();
    }

    /** Whether a method is answered by the function. */
    boolean has(String name, boolean isAbstract) {
        return wants.containsKey(name) || isAbstract && wants.containsKey(ANY);
    }

    /** The wanted forms of a method's parameters; null where their declared types decide. */
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
