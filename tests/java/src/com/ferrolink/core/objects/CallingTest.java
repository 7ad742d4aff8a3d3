package com.ferrolink.core.objects;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("A client of typed calls")
final class CallingTest {

    private static final String FIXTURES = "com.ferrolink.core.objects.Fixtures";
    private static final String OVERLOADS = FIXTURES + ".Overloads";

    private final Client client = new Client();

    private Object overload(String name, Object... arguments) {
        return client.call(client.make(OVERLOADS), name, arguments);
    }

    private String refusal(int kind, Runnable request) {
        Refused refused = assertThrows(Refused.class, request::run);
        assertEquals(kind, refused.kind, refused.getMessage());
        return refused.getMessage();
    }

    @Test
    @DisplayName("makes objects and calls their methods")
    void objects() {
        Handle list = client.make("java.util.ArrayList");
        assertEquals(true, client.call(list, "add", 42));
        assertEquals(true, client.call(list, "add", "x"));
        assertEquals(2, client.call(list, "size"));
        assertEquals(42, client.call(list, "get", 0));
        assertEquals("[42, x]", client.call(list, "toString"));
    }

    @Test
    @DisplayName("calls constructors by their arguments")
    void constructors() {
        assertEquals("abc", client.valueOf(client.make("java.lang.String", new char[] {'a', 'b', 'c'})));
        assertEquals("7", client.call(client.make("java.math.BigInteger", "7"), "toString"));
        assertEquals(0, client.call(client.make("java.util.ArrayList", 100), "size"));
    }

    @Test
    @DisplayName("calls static methods, of interfaces too, and reads static fields")
    void statics() {
        assertEquals(2.0, client.callStatic("java.lang.Math", "max", 1.0, 2.0));
        assertEquals(3, client.callStatic("java.lang.Math", "max", 3, 2));
        assertEquals(3L, client.callStatic("java.lang.Math", "max", 3, 2L));
        assertEquals(Integer.MAX_VALUE, client.getStatic("java.lang.Integer", "MAX_VALUE"));
        assertEquals("java.util.Collections$ReverseComparator",
                client.nameOf(client.callStaticForObject("java.util.Comparator", "reverseOrder")));
    }

    @Test
    @DisplayName("takes a text as a class name, and a String of Java as an object")
    void stringReceiver() {
        Handle text = client.make("java.lang.String", "java.lang.Math");
        assertEquals(14, client.call(text, "length"));
        assertTrue(refusal(5, () -> client.callStatic(text, "max", 1, 2)).contains("java.lang.String"));
        assertEquals("java.lang.Math", client.call(client.findClass("java.lang.Math"), "getName"));
    }

    @Test
    @DisplayName("calls methods that only a bridge makes public, and prefers others to bridges")
    void bridges() {
        Handle builder = client.make("java.lang.StringBuilder");
        client.callForObject(builder, "append", "four");
        assertEquals(4, client.call(builder, "length"));
        assertEquals('u', client.call(builder, "charAt", 2));
        assertEquals(0, client.call(client.make("java.lang.Integer", 3), "compareTo",
                client.make("java.lang.Integer", 3)));
        Handle open = client.make(FIXTURES + ".Open");
        assertEquals("inherited", client.call(open, "inherited"));
        String text = client.describe(open);
        assertTrue(text.contains("\npublic " + FIXTURES + "$Open copy();\n"), text);
    }

    @Test
    @DisplayName("reaches objects of hidden classes through their public superclasses and interfaces")
    void hiddenClasses() {
        Handle hidden = client.callStaticForObject(FIXTURES, "hidden");
        assertEquals("hidden1", client.call(hidden, "get", 1));
        assertEquals(2, client.call(hidden, "size"));
        assertEquals("Hello, you of 2", client.call(hidden, "greet", "you"));
        assertEquals(FIXTURES + "$Hidden has no public method 'invisible'.",
                refusal(3, () -> client.call(hidden, "invisible")));
        Handle list = client.callStaticForObject("java.util.Arrays", "asList", "a", "b");
        assertEquals("java.util.Arrays$ArrayList", client.nameOf(list));
        assertEquals("b", client.call(list, "get", 1));
        Handle map = client.make("java.util.HashMap");
        client.call(map, "put", "k", 1);
        Handle entries = client.iterate(map);
        Handle entry = (Handle) client.fetch(entries, Client.OBJECT, 1).elements.get(0);
        assertEquals("k", client.call(entry, "getKey"));
    }

    @Test
    @DisplayName("gets the overload without boxing before the one with it")
    void boxing() {
        assertEquals("int", overload("o", 1));
        assertEquals("int", overload("o", (short) 1));
        assertEquals("int", overload("o", 'c'));
        assertEquals("Object", overload("o", 1L));
        assertEquals("Object", overload("o", "text"));
        assertEquals("Object", overload("o", client.make("java.lang.Integer", 1)));
        assertEquals("long", overload("box", 1));
        assertEquals("Integer", overload("box", client.make("java.lang.Integer", 1)));
        assertEquals("long", overload("box", client.make("java.lang.Long", 1L)));
    }

    @Test
    @DisplayName("gets the narrowest of primitive parameters, and none that loses digits")
    void widening() {
        assertEquals("long", overload("wide", 1));
        assertEquals("double", overload("wide", 1.0f));
        assertEquals("long", overload("wide", 'c'));
        assertEquals("byte", overload("small", (byte) 1));
        assertEquals("short", overload("small", (short) 1));
        assertEquals("Nothing fits " + FIXTURES + "$Overloads.only(int). Candidates:\n  only(byte)",
                refusal(4, () -> overload("only", 1)));
    }

    @Test
    @DisplayName("gets the most specific overload for null")
    void nullArgument() {
        assertEquals("String", overload("text", (Object) null));
        assertEquals("String", overload("text", "x"));
        assertEquals("Object", overload("text", 1));
    }

    @Test
    @DisplayName("is told the candidates of an ambiguous call")
    void ambiguous() {
        Handle one = client.make("java.lang.Integer", 1);
        String text = refusal(4, () -> overload("pair", one, one));
        String[] lines = text.split("\n");
        assertEquals(FIXTURES + "$Overloads.pair(java.lang.Integer, java.lang.Integer) is ambiguous."
                + " Candidates:", lines[0]);
        Arrays.sort(lines, 1, 3);
        assertEquals("  pair(java.lang.Integer, java.lang.Object)", lines[1]);
        assertEquals("  pair(java.lang.Object, java.lang.Integer)", lines[2]);
        assertEquals("first", overload("pair", one, "x"));
    }

    @Test
    @DisplayName("passes a variable number of arguments, and prefers a fixed one")
    void varargs() {
        assertEquals("a0", overload("some", "a"));
        assertEquals("afixed", overload("some", "a", 1));
        assertEquals("a3", overload("some", "a", 1, 'b', (byte) 3));
        assertEquals("a2", overload("some", "a", new int[] {1, 2}));
        assertEquals("0", overload("any"));
        assertEquals("3", overload("any", 1, "b", null));
        assertEquals("null", overload("any", (Object) null));
        assertEquals("2", overload("any", (Object) new Handle[] {null, null}));
        assertEquals("1 of x", client.callStatic("java.lang.String", "format", "%d of %s", 1, "x"));
    }

    @Test
    @DisplayName("passes every primitive type as what it is")
    void primitives() {
        assertEquals("true,-1,-2,\uFFFF,-3,-4,1.5,-0.0", overload("each", true, (byte) -1, (short) -2,
                '\uFFFF', -3, -4L, 1.5f, -0.0));
        assertEquals('q', client.get(client.make(OVERLOADS), "letter"));
    }

    @Test
    @DisplayName("reads and writes fields, with integers that fit")
    void fields() {
        Handle object = client.make(OVERLOADS);
        client.set(object, "x", 7);
        assertEquals(7, client.get(object, "x"));
        client.set(object, "small", -128);
        assertEquals((byte) -128, client.get(object, "small"));
        client.set(object, "boxed", 9L);
        assertEquals(9L, client.get(object, "boxed"));
        client.set(object, "boxed", null);
        assertNull(client.get(object, "boxed"));
        client.setStatic(OVERLOADS, "counter", 8);
        assertEquals(8L, client.getStatic(OVERLOADS, "counter"));
        assertEquals(8L, client.get(object, "counter"));
        assertEquals("The field " + FIXTURES + "$Overloads.small is byte, and java.lang.Integer 128 does"
                + " not fit.", refusal(5, () -> client.set(object, "small", 128)));
        assertEquals("The field " + FIXTURES + "$Overloads.x is int, and null does not fit.",
                refusal(5, () -> client.set(object, "x", null)));
        refusal(5, () -> client.set(object, "x", 1.0));
        refusal(5, () -> client.set(object, "list", "text"));
        assertEquals("The field " + FIXTURES + "$Overloads.CONSTANT is final.",
                refusal(6, () -> client.setStatic(OVERLOADS, "CONSTANT", "x")));
        assertEquals("constant", client.getStatic(OVERLOADS, "CONSTANT"));
    }

    @Test
    @DisplayName("reaches nested and inner classes and the constants of enums")
    void nested() {
        Handle outer = client.make(FIXTURES + ".Outer", 40);
        assertEquals(42, client.call(client.make(FIXTURES + "$Outer$Inner", outer), "sum", 2));
        assertEquals(42, client.call(client.make(FIXTURES + ".Outer.Inner", outer), "sum", 2));
        Handle green = (Handle) client.getStatic(FIXTURES + ".Outer.Colour", "GREEN");
        assertEquals(1, client.call(green, "ordinal"));
        assertEquals(green.classId, ((Handle) client.callStatic(FIXTURES + ".Outer.Colour", "valueOf",
                "RED")).classId);
        assertEquals("java.util.AbstractMap$SimpleEntry",
                client.nameOf(client.make("java.util.AbstractMap.SimpleEntry", "k", "v")));
    }

    @Test
    @DisplayName("finds classes of all kinds, and is told of one that is missing")
    void classes() {
        assertEquals("int", client.call(client.findClass("int"), "getName"));
        assertEquals("[I", client.call(client.findClass("int[]"), "getName"));
        assertEquals("[[I", client.call(client.findClass("[[I"), "getName"));
        assertEquals("[Ljava.lang.String;", client.call(client.findClass("java.lang.String[]"), "getName"));
        assertEquals("void", client.call(client.findClass("void"), "getName"));
        assertEquals("There is no class 'no.such.Class'.", refusal(3, () -> client.findClass("no.such.Class")));
        refusal(3, () -> client.findClass(""));
        refusal(3, () -> client.findClass("void[]"));
        refusal(3, () -> client.findClass("[]"));
        Handle list = client.findClass("java.util.ArrayList");
        assertEquals(0, client.call(client.make(list), "size"));
    }

    @Test
    @DisplayName("is told what is no member, and what cannot be made")
    void noMember() {
        assertEquals("java.lang.Math has no public static method 'none'.",
                refusal(3, () -> client.callStatic("java.lang.Math", "none")));
        assertEquals("java.util.List has no public constructor, it is an interface.",
                refusal(3, () -> client.make("java.util.List")));
        assertEquals("java.lang.Number is abstract: no object of it can be made.",
                refusal(3, () -> client.make("java.lang.Number")));
        assertEquals("java.lang.Math has no public constructor.",
                refusal(3, () -> client.make("java.lang.Math")));
        assertEquals("java.lang.Math has no public static field 'none'.",
                refusal(3, () -> client.getStatic("java.lang.Math", "none")));
        assertEquals("There is no member 4294967295.", refusal(3, () -> client.invoke(-1, 2, null)));
        refusal(3, () -> client.invoke(0, 2, null));
    }

    @Test
    @DisplayName("is told of an object that does not belong to the member")
    void wrongSelf() {
        int length = client.resolve(0, "java.lang.String", "length");
        Handle list = client.make("java.util.ArrayList");
        assertEquals("java.lang.String.length needs an object of its class, not one of java.util.ArrayList.",
                refusal(5, () -> client.invoke(length, 2, list)));
        refusal(5, () -> client.invoke(length, 2, null));
        int max = client.resolve(1, "java.lang.Math", "max");
        assertEquals("java.lang.Math.max takes no object.", refusal(5, () -> client.invoke(max, 2, list, 1, 2)));
        int x = client.resolve(3, OVERLOADS, "x");
        refusal(5, () -> client.get(x, 2, list));
        refusal(3, () -> client.get(length, 2, client.make("java.lang.String", "x")));
        refusal(3, () -> client.invoke(x, 2, client.make(OVERLOADS)));
    }

    @Test
    @DisplayName("calls a member of an interface on whatever implements it")
    void interfaceMembers() {
        int size = client.resolve(0, "java.util.List", "size");
        assertEquals(size, client.resolve(0, "java.util.List", "size"));
        assertNotEquals(size, client.resolve(0, "java.util.Collection", "size"));
        Handle list = client.callStaticForObject("java.util.Arrays", "asList", "a");
        assertEquals(1, client.invoke(size, 2, list));
        int text = client.resolve(0, "java.util.List", "toString");
        assertEquals("[a]", client.invoke(text, 2, list));
    }

    @Test
    @DisplayName("finds members of the class that an object stands for, and of java.lang.Class")
    void classObjects() {
        Handle type = client.callStaticForObject("java.lang.Class", "forName", "java.util.List");
        int ofClass = 0x80;
        assertEquals(client.resolve(0, "java.util.List", "size"), client.resolve(ofClass, type, "size"));
        assertEquals(client.resolve(0, "java.lang.Class", "getName"), client.resolve(0, type, "getName"));
        assertEquals("A class is named by a text or is an object of java.lang.Class, not java.util.ArrayList.",
                refusal(5, () -> client.resolve(ofClass, client.make("java.util.ArrayList"), "size")));
        refusal(1, () -> client.resolve(ofClass + 5, type, "size"));
    }

    @Test
    @DisplayName("compares objects and asks what they are instances of")
    void tests() {
        Handle text = client.make("java.lang.String", "x");
        assertTrue(client.test(1, text, "x"));
        assertTrue(client.test(1, client.make("java.lang.Integer", 5), 5));
        assertEquals(false, client.test(1, text, null));
        assertTrue(client.test(2, text, "java.lang.CharSequence"));
        assertTrue(client.test(2, text, client.findClass("java.lang.Comparable")));
        assertEquals(false, client.test(2, text, "java.util.List"));
        refusal(3, () -> client.test(2, text, "no.such.Class"));
        assertEquals("x".hashCode(), client.call(text, "hashCode"));
    }

    @Test
    @DisplayName("gets nothing of a void method, and what it wants of others")
    void wants() {
        Handle object = client.make(OVERLOADS);
        assertSame(Client.VOID, client.call(object, "nothing"));
        int hash = client.resolve(0, "java.lang.String", "length");
        Handle text = client.make("java.lang.String", "abc");
        assertSame(Client.VOID, client.invoke(hash, 0, text));
        Handle boxed = (Handle) client.invoke(hash, 1, text);
        assertEquals("java.lang.Integer", client.nameOf(boxed));
        assertEquals(3, client.valueOf(boxed));
        int get = client.resolve(0, "java.util.HashMap", "get");
        assertNull(client.invoke(get, 1, client.make("java.util.HashMap"), "none"));
    }

    @Test
    @DisplayName("calls methods that look at their caller")
    void callerSensitive() {
        assertEquals("java.lang.String", client.nameOf(client.make("java.lang.String", "")));
        Handle found = client.callStaticForObject("java.lang.Class", "forName", FIXTURES);
        assertEquals(FIXTURES, client.call(found, "getName"));
    }

    @Test
    @DisplayName("gets a description of a class")
    void description() {
        String text = client.describe("java.lang.CharSequence");
        assertTrue(text.startsWith("public abstract char charAt(int);\npublic abstract int length();\n"), text);
        assertTrue(text.contains("\npublic default java.util.stream.IntStream chars();\n"), text);
        String overloads = client.describe(client.make(OVERLOADS));
        assertTrue(overloads.startsWith("public " + FIXTURES + "$Overloads();\n"), overloads);
        assertTrue(overloads.contains("\npublic static final java.lang.String CONSTANT;\n"), overloads);
        assertTrue(overloads.contains("\npublic java.lang.String some(java.lang.String, int...);\n"), overloads);
        assertTrue(overloads.contains("\npublic java.lang.Object fail(java.lang.String) throws"
                + " java.io.IOException;\n"), overloads);
    }
}
