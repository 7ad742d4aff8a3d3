package com.ferrolink.core.objects;

import java.util.Map;

/**
 * The operations of a broker. Each operation reads its whole request before it has any effect. It
 * writes the data that follow the status of a successful reply. Thread-safe.
 */
final class Operations {

    static final int RESOLVE = 1;
    static final int INVOKE = 2;
    static final int GET = 3;
    static final int SET = 4;
    static final int FETCH = 5;
    static final int ITERATE = 6;
    static final int VALUE = 7;
    static final int CLASS = 8;
    static final int IMPLEMENT = 9;
    static final int TEST = 10;
    static final int RELEASE = 11;
    static final int STATISTICS = 12;
    static final int DESCRIBE = 13;
    static final int BATCH = 14;
    static final int COPY = 15;
    static final int NAME = 16;
    static final int DUPLICATE = 18;
    static final int CAUSE = 19;

    /** Added to the kind of a member: the owner is the class that is given as an object. */
    private static final int OF_CLASS_OBJECT = 0x80;

    private static final int TEST_EQUALS = 1;
    private static final int TEST_INSTANCE = 2;

    private final HandleTable handles;
    private final MemberTable members;
    private final ClassFinder classes;
    private final FunctionRegistry functions;

    Operations(HandleTable handles, MemberTable members, ClassFinder classes,
            FunctionRegistry functions) {
        this.handles = handles;
        this.members = members;
        this.classes = classes;
        this.functions = functions;
    }

    /**
     * Performs one request.
     *
     * @return its result; null if there is none
     * @throws Refusal if the request is refused
     * @throws Throwable if the called Java code throws
     */
    Object perform(int operation, ValueReader in, ValueWriter out) throws Throwable {
        switch (operation) {
            case INVOKE:
                return invoke(in, out);
            case GET:
                return get(in, out);
            case SET:
                return set(in, out);
            case RESOLVE:
                return resolve(in, out);
            case FETCH:
                return Fetch.perform(in, out);
            case ITERATE:
                return object(ElementSource.of(onlyObject(in)), out);
            case VALUE:
                return value(in, out);
            case CLASS:
                return object(onlyClass(in), out);
            case IMPLEMENT:
                return implement(in, out);
            case DUPLICATE:
                return object(onlyObject(in), out);
            default:
                return inspect(operation, in, out);
        }
    }

    private Object inspect(int operation, ValueReader in, ValueWriter out) throws Throwable {
        switch (operation) {
            case TEST:
                return test(in, out);
            case RELEASE:
                in.wire().requireEnd();
                return nothing(out);
            case STATISTICS:
                return statistics(in, out);
            case DESCRIBE:
                return describe(in, out);
            case COPY:
                return copy(in, out);
            case NAME:
                out.wire().text(onlyObject(in).getClass().getName());
                return null;
            case CAUSE:
                return cause(in, out);
            default:
                throw in.wire().malformed(1, "there is no operation " + operation + " here.");
        }
    }

    private Object resolve(ValueReader in, ValueWriter out) {
        int number = in.wire().u8();
        MemberKind kind = MemberKind.of(number & ~OF_CLASS_OBJECT);
        if (kind == null) {
            throw in.wire().malformed(1, "there is no kind of member " + number + '.');
        }
        boolean isClass = !kind.hasSelf() || number >= OF_CLASS_OBJECT || in.wire().peek() == Tag.TEXT;
        Class<?> type = isClass ? classNamed(in) : required(in.value()).getClass();
        String name = in.wire().text();
        in.wire().requireEnd();
        out.wire().i32(members.numberOf(kind, type, name));
        return null;
    }

    private Object invoke(ValueReader in, ValueWriter out) throws Throwable {
        WireReader wire = in.wire();
        Member member = members.get(wire.i32());
        int want = ValueWriter.want(wire);
        long key = wire.i64();
        Arguments arguments = in.arguments();
        wire.requireEnd();
        OverloadChoice choice = member.choose(arguments);
        Object result = choice.overload().call(arguments.values, choice.spread());
        out.result(result, choice.overload().isVoid() ? ValueWriter.WANT_NOTHING : want, key);
        return result;
    }

    private Object get(ValueReader in, ValueWriter out) throws Throwable {
        WireReader wire = in.wire();
        Member member = members.get(wire.i32());
        int want = ValueWriter.want(wire);
        long key = wire.i64();
        Object self = in.objectOrNone();
        wire.requireEnd();
        member.requireSelf(self);
        Object result = member.field().get(self);
        out.result(result, want, key);
        return result;
    }

    private Object set(ValueReader in, ValueWriter out) throws Throwable {
        Member member = members.get(in.wire().i32());
        Object self = in.objectOrNone();
        Object value = in.value();
        in.wire().requireEnd();
        member.requireSelf(self);
        member.field().set(self, value);
        return nothing(out);
    }

    private Object value(ValueReader in, ValueWriter out) {
        Object object = in.object();
        long key = in.wire().i64();
        in.wire().requireEnd();
        out.result(object, ValueWriter.WANT_VALUE, key);
        return object;
    }

    private Object implement(ValueReader in, ValueWriter out) {
        WireReader wire = in.wire();
        Class<?>[] interfaces = new Class<?>[wire.count(Integer.BYTES)];
        for (int index = 0; index < interfaces.length; index++) {
            interfaces[index] = classes.find(wire.text());
        }
        long id = wire.i64();
        String handler = wire.text();
        FunctionNames names = FunctionNames.read(wire);
        wire.requireEnd();
        return functions.implement(new FunctionKey(handler, id, interfaces), names, classes, out);
    }

    private Object describe(ValueReader in, ValueWriter out) {
        Class<?> type;
        if (in.wire().peek() == Tag.TEXT) {
            type = classNamed(in);
        } else {
            Object object = required(in.value());
            type = object instanceof Class ? (Class<?>) object : object.getClass();
        }
        in.wire().requireEnd();
        out.wire().text(Description.of(type));
        return null;
    }

    private Object test(ValueReader in, ValueWriter out) {
        int what = in.wire().u8();
        if (what != TEST_EQUALS && what != TEST_INSTANCE) {
            throw in.wire().malformed(1, "there is no test " + what + '.');
        }
        Object object = in.object();
        Object other = what == TEST_EQUALS ? in.value() : classNamed(in);
        in.wire().requireEnd();
        boolean result = what == TEST_EQUALS ? object.equals(other)
                : ((Class<?>) other).isInstance(object);
        out.wire().u8(result ? Tag.TRUE : Tag.FALSE);
        return null;
    }

    private Object copy(ValueReader in, ValueWriter out) {
        WireReader wire = in.wire();
        Object array = in.object();
        int first = wire.i32();
        int count = wire.i32();
        long address = wire.i64();
        long key = wire.i64();
        wire.requireEnd();
        NativeMemory.write(array, first, count, address, key);
        return nothing(out);
    }

    private Object statistics(ValueReader in, ValueWriter out) {
        in.wire().requireEnd();
        long live = functions.size();
        Map<String, Long> byClass = handles.sizesByClass();
        long total = 0;
        for (long size : byClass.values()) {
            total += size;
        }
        WireWriter wire = out.wire().i64(total).i64(live).i64(members.size()).i32(byClass.size());
        byClass.forEach((name, size) -> wire.text(name).i64(size));
        return null;
    }

    /** The cause is thrown, so its reply is that of any exception. */
    private static Object cause(ValueReader in, ValueWriter out) throws Throwable {
        Object object = onlyObject(in);
        if (!(object instanceof Throwable)) {
            throw new Refusal(Refusal.NO_CONVERSION, Signature.of(object.getClass())
                    + " is no Throwable.");
        }
        Throwable cause = ((Throwable) object).getCause();
        if (cause != null) {
            throw cause;
        }
        return nothing(out);
    }

    private static Object onlyObject(ValueReader in) {
        Object object = in.object();
        in.wire().requireEnd();
        return object;
    }

    private Class<?> onlyClass(ValueReader in) {
        Class<?> type = classNamed(in);
        in.wire().requireEnd();
        return type;
    }

    /**
     * The class that is given by its name or by its {@code Class}. An object of class String is no
     * name.
     */
    private Class<?> classNamed(ValueReader in) {
        if (in.wire().peek() == Tag.TEXT) {
            return classes.find((String) in.value());
        }
        Object value = in.value();
        if (value instanceof Class) {
            return (Class<?>) value;
        }
        throw new Refusal(Refusal.NO_CONVERSION, "A class is named by a text or is an object of"
                + " java.lang.Class, not " + (value == null ? "null" : Signature.of(value.getClass()))
                + '.');
    }

    private static Object required(Object value) {
        if (value == null) {
            throw new Refusal(Refusal.NO_CONVERSION, "An object is needed instead of null.");
        }
        return value;
    }

    private static Object object(Object result, ValueWriter out) {
        out.object(result);
        return result;
    }

    private static Object nothing(ValueWriter out) {
        out.wire().u8(Tag.VOID);
        return null;
    }
}
