package com.ferrolink.test.objects;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;

/** Members that the probes of typed calls use. Each returns a distinct result. */
public class Probes {

    public static String shared = "first";
    public static final int ANSWER = 42;

    public int x;
    public byte small;
    public char letter = 'a';
    public long wide;
    public Integer boxed = 5;
    public String text;
    public double[] numbers = {1.5, 2.5};
    private final String made;

    public Probes() {
        made = "nothing";
    }

    public Probes(int number) {
        made = "int " + number;
    }

    public Probes(String text) {
        made = "String " + text;
    }

    public Probes(Object object) {
        made = "Object " + object;
    }

    public String made() {
        return made;
    }

    public static String of(int value) {
        return "int";
    }

    public static String of(Object value) {
        return "Object";
    }

    public static String wider(long value) {
        return "long";
    }

    public static String wider(double value) {
        return "double";
    }

    public static String nullable(Object value) {
        return "Object";
    }

    public static String nullable(String value) {
        return "String";
    }

    public static String exact(byte value) {
        return "byte " + value;
    }

    public static String exact(short value) {
        return "short " + value;
    }

    public static String exact(char value) {
        return "char " + value;
    }

    public static String exact(float value) {
        return "float " + value;
    }

    public static String exact(boolean value) {
        return "boolean " + value;
    }

    public static String boxing(Integer value) {
        return "Integer " + value;
    }

    public static String phases(long value) {
        return "widened";
    }

    public static String phases(Integer value) {
        return "boxed";
    }

    public static String phases(int... values) {
        return "varargs";
    }

    public static String join(String separator, Object... parts) {
        StringBuilder joined = new StringBuilder().append(parts.length).append(':');
        for (int i = 0; i < parts.length; i++) {
            joined.append(i == 0 ? "" : separator).append(parts[i]);
        }
        return joined.toString();
    }

    public static String unclear(Integer a, Object b) {
        return "first";
    }

    public static String unclear(Object a, Integer b) {
        return "second";
    }

    public static int sum(int[][][] cube) {
        int sum = 0;
        for (int[][] plane : cube) {
            for (int[] row : plane) {
                for (int value : row) {
                    sum += value;
                }
            }
        }
        return sum;
    }

    public static Object nothing() {
        return null;
    }

    public static String loneSurrogate() {
        return "a\uD800b";
    }

    public static boolean isLoneSurrogate(String text) {
        return text.equals("a\uD800b");
    }

    public static void fail() throws IOException {
        throw new IOException("disk full", new IllegalStateException("inner", new RuntimeException()));
    }

    /** The exception that a function throws, as Java sees it. */
    public static String thrownBy(Runnable function) {
        try {
            function.run();
            return "nothing";
        } catch (RuntimeException thrown) {
            return thrown.getClass().getName() + ": " + thrown.getMessage();
        }
    }

    public static void run(Runnable function) {
        function.run();
    }

    public static Object call(Callable<?> function) throws Exception {
        return function.call();
    }

    /** Whether a function throws exactly the given throwable. */
    public static boolean throwsSame(Runnable function, Throwable expected) {
        try {
            function.run();
            return false;
        } catch (Throwable thrown) {
            return thrown == expected;
        }
    }

    public enum Color {
        RED, GREEN {
            @Override
            public String like() {
                return "grass";
            }
        };

        public String like() {
            return "blood";
        }
    }

    public class Inner {
        public final int twice = x * 2;
    }

    public static class Nested {
        public static class Deeper {
            public String where() {
                return "deep";
            }
        }
    }

    public interface Greeter {
        String name();

        default String greet() {
            return "Hello, " + name();
        }
    }

    public static String greetingOf(Greeter greeter) {
        return greeter.greet();
    }

    /** All kinds of parameters and results of a function. */
    public interface Mixed {
        String all(boolean a, byte b, short c, char d, int e, long f, float g, double h, String i, Object j);
    }

    public static String callMixed(Mixed function) {
        return function.all(true, (byte) -1, (short) -2, '\u20AC', -3, 1L << 40, 0.5f, 0.25, "text", null);
    }

    public interface Widening {
        long asLong(int value);

        Object asObject(String value);
    }

    public static String callWidening(Widening function) {
        return function.asLong(7) + " " + function.asObject("x").getClass().getName();
    }

    public interface ArrayFunction {
        double[] scale(double[] values, String[] names);
    }

    public static double callArrays(ArrayFunction function) {
        double[] scaled = function.scale(new double[] {1, 2, 3}, new String[] {"a", null});
        return scaled[0] + scaled[1] + scaled[2];
    }

    private final List<Runnable> listeners = new ArrayList<>();

    public void addListener(Runnable listener) {
        listeners.add(listener);
    }

    public boolean removeListener(Runnable listener) {
        return listeners.remove(listener);
    }

    public int fire() {
        listeners.forEach(Runnable::run);
        return listeners.size();
    }

    private static Runnable kept;

    public static void keep(Runnable function) {
        kept = function;
    }

    public static void runKept() {
        kept.run();
    }
}
