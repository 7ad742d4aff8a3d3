package com.ferrolink.core.objects;

import com.ferrolink.core.receiver.Receiver;
import java.lang.reflect.Array;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.function.Consumer;
import java.util.function.UnaryOperator;

/**
 * A client of the handler {@code objects} that exchanges bytes, as another runtime does: it sends whole
 * commands to the receiver. It has its own encoder and decoder, except for texts and numbers, so that
 * it does not depend on the tested classes.
 */
final class Client {

    static final byte CALLER = 8;
    static final int OBJECT = 1;
    static final int VALUE = 2;

    /** The result of a void method. */
    static final Object VOID = new Object() {
        @Override
        public String toString() {
            return "void";
        }
    };

    private static final byte[] HEADER = {2, 0, 0, 0, 0, 0, 0, 0, 0, CALLER, 2, 7, 'o', 'b', 'j', 'e', 'c',
        't', 's'};

    private final List<Long> releases = new ArrayList<>();
    private final UnaryOperator<byte[]> broker;

    /** Uses the broker of the process. */
    Client() {
        this(Client::answer);
    }

    /** Uses a broker that answers payloads. */
    Client(UnaryOperator<byte[]> broker) {
        this.broker = broker;
    }

    /** Sends a request. Adds the list of releases. */
    WireReader ask(Consumer<WireWriter> request) {
        WireWriter wire = new WireWriter(256);
        wire.i16(releases.size());
        releases.forEach(wire::i64);
        releases.clear();
        request.accept(wire);
        return success(broker.apply(wire.toByteArray()));
    }

    static byte[] answer(byte[] payload) {
        byte[] command = Arrays.copyOf(HEADER, HEADER.length + payload.length);
        System.arraycopy(payload, 0, command, HEADER.length, payload.length);
        byte[] reply = Receiver.sendCommand(command);
        if (reply[10] != 0) {
            throw new AssertionError(new String(reply, 11, reply.length - 11));
        }
        return Arrays.copyOfRange(reply, 11, reply.length);
    }

    static WireReader success(byte[] reply) {
        WireReader wire = new WireReader(reply, 0, reply.length);
        int outcome = wire.u8();
        if (outcome == 1) {
            throw new ThrownInJava(wire);
        }
        if (outcome == 2) {
            throw new Refused(wire);
        }
        return wire;
    }

    /** The next request releases the handle. */
    void release(Handle handle) {
        releases.add(handle.number);
    }

    int resolve(int kind, Object owner, String name) {
        return ask(wire -> {
            wire.u8(1).u8(kind);
            put(wire, owner);
            wire.text(name);
        }).i32();
    }

    Object invoke(int member, int want, Handle self, Object... arguments) {
        return only(ask(wire -> {
            wire.u8(2).i32(member).u8(want).i64(0).i64(self == null ? 0 : self.number)
                    .u8(arguments.length);
            for (Object argument : arguments) {
                put(wire, argument);
            }
        }));
    }

    Object call(Handle self, String name, Object... arguments) {
        return invoke(resolve(0, self, name), VALUE, self, arguments);
    }

    Handle callForObject(Handle self, String name, Object... arguments) {
        return (Handle) invoke(resolve(0, self, name), OBJECT, self, arguments);
    }

    Object callStatic(Object type, String name, Object... arguments) {
        return invoke(resolve(1, type, name), VALUE, null, arguments);
    }

    Handle callStaticForObject(Object type, String name, Object... arguments) {
        return (Handle) invoke(resolve(1, type, name), OBJECT, null, arguments);
    }

    Handle make(Object type, Object... arguments) {
        return (Handle) invoke(resolve(2, type, ""), OBJECT, null, arguments);
    }

    Object get(Handle self, String name) {
        return get(resolve(3, self, name), VALUE, self);
    }

    Object getStatic(Object type, String name) {
        return get(resolve(4, type, name), VALUE, null);
    }

    Object get(int member, int want, Handle self) {
        return only(ask(wire -> wire.u8(3).i32(member).u8(want).i64(0)
                .i64(self == null ? 0 : self.number)));
    }

    void set(Handle self, String name, Object value) {
        set(resolve(3, self, name), self, value);
    }

    void setStatic(Object type, String name, Object value) {
        set(resolve(4, type, name), null, value);
    }

    private void set(int member, Handle self, Object value) {
        Object nothing = only(ask(wire -> {
            wire.u8(4).i32(member).i64(self == null ? 0 : self.number);
            put(wire, value);
        }));
        if (nothing != VOID) {
            throw new AssertionError(nothing);
        }
    }

    Handle iterate(Handle object) {
        return (Handle) only(ask(wire -> wire.u8(6).i64(object.number)));
    }

    Fetched fetch(Handle iterator, int want, int most) {
        WireReader wire = ask(request -> request.u8(5).i64(iterator.number).u8(want).i32(most));
        boolean more = wire.u8() == 1;
        Object[] elements = new Object[wire.i32()];
        for (int index = 0; index < elements.length; index++) {
            elements[index] = take(wire);
        }
        wire.requireEnd();
        return new Fetched(more, Arrays.asList(elements));
    }

    Object valueOf(Handle object) {
        return only(ask(wire -> wire.u8(7).i64(object.number).i64(0)));
    }

    Handle findClass(String name) {
        return (Handle) only(ask(wire -> put(wire.u8(8), name)));
    }

    boolean test(int what, Handle object, Object other) {
        return (Boolean) only(ask(wire -> put(wire.u8(10).u8(what).i64(object.number), other)));
    }

    String describe(Object type) {
        return onlyText(ask(wire -> put(wire.u8(13), type)));
    }

    String nameOf(Handle object) {
        return onlyText(ask(wire -> wire.u8(16).i64(object.number)));
    }

    Handle duplicate(Handle object) {
        return (Handle) only(ask(wire -> wire.u8(18).i64(object.number)));
    }

    Handle implement(long id, String handler, List<String> interfaces, String... names) {
        return (Handle) only(ask(wire -> {
            wire.u8(9).i32(interfaces.size());
            interfaces.forEach(wire::text);
            wire.i64(id).text(handler).i32(names.length);
            for (String name : names) {
                wire.text(name).u8(0);
            }
        }));
    }

    Statistics statistics() {
        WireReader wire = ask(request -> request.u8(12));
        Statistics statistics = new Statistics();
        statistics.handles = wire.i64();
        statistics.functions = wire.i64();
        statistics.members = wire.i64();
        int count = wire.i32();
        for (int index = 0; index < count; index++) {
            statistics.byClass.put(wire.text(), wire.i64());
        }
        wire.requireEnd();
        return statistics;
    }

    static String onlyText(WireReader wire) {
        String text = wire.text();
        wire.requireEnd();
        return text;
    }

    static Object only(WireReader wire) {
        Object value = take(wire);
        wire.requireEnd();
        return value;
    }

    static void put(WireWriter wire, Object value) {
        if (value == null) {
            wire.u8(0);
        } else if (value instanceof Boolean) {
            wire.u8((Boolean) value ? 2 : 1);
        } else if (value instanceof Byte) {
            wire.u8(3).u8((Byte) value);
        } else if (value instanceof Short) {
            wire.u8(4).i16((Short) value);
        } else if (value instanceof Character) {
            wire.u8(5).i16((Character) value);
        } else if (value instanceof Integer) {
            wire.u8(6).i32((Integer) value);
        } else if (value instanceof Long) {
            wire.u8(7).i64((Long) value);
        } else if (value instanceof Float) {
            wire.u8(8).i32(Float.floatToRawIntBits((Float) value));
        } else if (value instanceof Double) {
            wire.u8(9).i64(Double.doubleToRawLongBits((Double) value));
        } else if (value instanceof String) {
            wire.u8(10).text((String) value);
        } else if (value instanceof Handle) {
            wire.u8(11).i64(((Handle) value).number).i32(0);
        } else if (value instanceof Raw) {
            wire.raw(((Raw) value).bytes, 0, ((Raw) value).bytes.length);
        } else {
            putArray(wire, value);
        }
    }

    private static void putArray(WireWriter wire, Object array) {
        Class<?> component = array.getClass().getComponentType();
        int count = Array.getLength(array);
        if (component.isPrimitive()) {
            int tag = PrimitiveArrays.tagOf(component);
            wire.u8(12).u8(tag).i32(count);
            for (int index = 0; index < count; index++) {
                WireWriter element = new WireWriter(16);
                Object value = Array.get(array, index);
                put(element, value);
                if (tag == 2) {
                    wire.u8((Boolean) value ? 1 : 0);
                } else {
                    wire.raw(element.toByteArray(), 1, element.size() - 1);
                }
            }
            return;
        }
        String name = component == Handle.class ? "java/lang/Object" : component.getName().replace('.', '/');
        wire.u8(13).text(component.isArray() ? name : "L" + name + ";").i32(count);
        for (int index = 0; index < count; index++) {
            put(wire, Array.get(array, index));
        }
    }

    static Object take(WireReader wire) {
        int tag = wire.u8();
        switch (tag) {
            case 0:
                return null;
            case 10:
                return wire.text();
            case 11:
                return new Handle(wire.i64(), wire.i32());
            case 12:
                return takePrimitives(wire);
            case 13:
                return takeArray(wire);
            case 15:
                return VOID;
            default:
                return takePrimitive(wire, tag);
        }
    }

    private static Object takePrimitive(WireReader wire, int tag) {
        switch (tag) {
            case 1:
            case 2:
                return tag == 2;
            case 3:
                return (byte) wire.u8();
            case 4:
                return (short) wire.u16();
            case 5:
                return (char) wire.u16();
            case 6:
                return wire.i32();
            case 7:
                return wire.i64();
            case 8:
                return Float.intBitsToFloat(wire.i32());
            case 9:
                return Double.longBitsToDouble(wire.i64());
            default:
                throw new AssertionError("tag " + tag);
        }
    }

    private static Object takePrimitives(WireReader wire) {
        int tag = wire.u8();
        int count = wire.i32();
        if (tag == 3) {
            int start = wire.skip(count);
            return Arrays.copyOfRange(wire.bytes(), start, start + count);
        }
        Object array = Array.newInstance(PrimitiveArrays.elementOf(tag), count);
        for (int index = 0; index < count; index++) {
            Array.set(array, index, tag == 2 ? (Object) (wire.u8() == 1) : takePrimitive(wire, tag));
        }
        return array;
    }

    /** An array of arrays and texts; its handles make it an Object[]. */
    private static Object takeArray(WireReader wire) {
        String component = wire.text();
        Object[] elements = new Object[wire.i32()];
        for (int index = 0; index < elements.length; index++) {
            elements[index] = take(wire);
        }
        return new Elements(component, Arrays.asList(elements));
    }

    /** An encoded value. */
    static final class Raw {
        final byte[] bytes;

        Raw(int... bytes) {
            this.bytes = new byte[bytes.length];
            for (int index = 0; index < bytes.length; index++) {
                this.bytes[index] = (byte) bytes[index];
            }
        }
    }

    /** Elements of an iterator. */
    static final class Fetched {
        final boolean more;
        final List<Object> elements;

        Fetched(boolean more, List<Object> elements) {
            this.more = more;
            this.elements = elements;
        }
    }

    /** The broker's counts. */
    static final class Statistics {
        long handles;
        long functions;
        long members;
        final Map<String, Long> byClass = new TreeMap<>();
    }
}
