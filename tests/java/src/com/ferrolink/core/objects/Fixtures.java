package com.ferrolink.core.objects;

import java.io.IOException;
import java.util.AbstractList;
import java.util.Iterator;
import java.util.List;

/** Classes that tests call. They are public, as those of programs are. */
public final class Fixtures {

    private Fixtures() {
    }

    /** Fields, and methods that return which overload was called. */
    public static class Overloads {
        /** A constant. */
        public static final String CONSTANT = "constant";
        /** A variable. */
        public static long counter = 7;
        /** A variable of each object. */
        public int x;
        /** A small number. */
        public byte small;
        /** A boxed number. */
        public Long boxed;
        /** A reference. */
        public List<String> list;
        /** A char. */
        public char letter = 'q';

        public String o(int value) {
            return "int";
        }

        public String o(Object value) {
            return "Object";
        }

        public String wide(long value) {
            return "long";
        }

        public String wide(double value) {
            return "double";
        }

        public String text(Object value) {
            return "Object";
        }

        public String text(String value) {
            return "String";
        }

        public String box(Integer value) {
            return "Integer";
        }

        public String box(long value) {
            return "long";
        }

        public String some(String first, int... rest) {
            return first + rest.length;
        }

        public String some(String first, int second) {
            return first + "fixed";
        }

        public String any(Object... all) {
            return all == null ? "null" : all.length + "";
        }

        public String pair(Integer first, Object second) {
            return "first";
        }

        public String pair(Object first, Integer second) {
            return "second";
        }

        public String each(boolean a, byte b, short c, char d, int e, long f, float g, double h) {
            return a + "," + b + "," + c + "," + d + "," + e + "," + f + "," + g + "," + h;
        }

        public String small(byte value) {
            return "byte";
        }

        public String small(short value) {
            return "short";
        }

        public String only(byte value) {
            return "byte";
        }

        public static String ofAll(String text) {
            return "static " + text;
        }

        public void nothing() {
        }

        public Object fail(String message) throws IOException {
            throw new IOException(message, new IllegalStateException("inner"));
        }
    }

    /** A class that is not public, with a public superclass and a public interface. */
    private static final class Hidden extends AbstractList<String> implements Greeting {
        @Override
        public String get(int index) {
            return "hidden" + index;
        }

        @Override
        public int size() {
            return 2;
        }

        public String invisible() {
            return "";
        }
    }

    /** Its public methods become bridge methods in public subclasses. */
    abstract static class HiddenBase {
        public String inherited() {
            return "inherited";
        }

        public Object copy() {
            return this;
        }
    }

    /** A public class that inherits methods of a class that is not public. */
    public static final class Open extends HiddenBase {
        @Override
        public Open copy() {
            return new Open();
        }
    }

    /** An interface with a default method. */
    public interface Greeting {
        default String greet(String name) {
            return "Hello, " + name + " of " + size();
        }

        int size();
    }

    /** An interface that is not public. */
    interface HiddenGreeting extends Greeting {
        default String greetHidden() {
            return "hidden " + size();
        }
    }

    /** Parameters and results of many types. */
    public interface Shapes {
        long number();

        short narrow();

        String text();

        void nothing();

        Object checked() throws IOException;

        String all(int a, long b, String c, Object d, Integer e, int[] f, String g, char h, boolean i);
    }

    public static String greetHidden(Object greeting) {
        return ((HiddenGreeting) greeting).greetHidden();
    }

    /** A class with a nested and an inner class. */
    public static final class Outer {
        private final int number;

        public Outer(int number) {
            this.number = number;
        }

        /** Needs an enclosing object. */
        public final class Inner {
            public int sum(int other) {
                return number + other;
            }
        }

        /** Constants. */
        public enum Colour { RED, GREEN }
    }

    public static Object hidden() {
        return new Hidden();
    }

    /** A class whose initialiser fails. */
    public static final class Broken {
        /** Never readable. */
        public static int value = Integer.parseInt("none");
    }

    /** An exception whose getMessage fails. */
    public static final class Hostile extends RuntimeException {
        private static final long serialVersionUID = 1L;

        @Override
        public String getMessage() {
            throw new UnsupportedOperationException();
        }
    }

    public static int recurse(int depth) {
        return recurse(depth + 1) + 1;
    }

    public static void throwHostile() {
        throw new Hostile();
    }

    /** An iterator that divides by zero after this many elements. */
    public static Iterator<Object> failingAfter(int count) {
        return new Iterator<Object>() {
            private int left = count;

            @Override
            public boolean hasNext() {
                return true;
            }

            @Override
            public Object next() {
                return 1 / left-- == 5 ? "" : "element";
            }
        };
    }

    public static int[][] grid() {
        return new int[][] {{1, 2}, {3}, null};
    }

    public static Object[] holdingItself() {
        Object[] array = new Object[2];
        array[0] = array;
        array[1] = "end";
        return array;
    }

    public static Object identity(Object value) {
        return value;
    }
}
