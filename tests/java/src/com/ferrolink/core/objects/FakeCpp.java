package com.ferrolink.core.objects;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.CountDownLatch;

/** Stands in for the C++ member: functions by number, and what was reported as dropped. */
final class FakeCpp implements CppCalls {

    /** One function. */
    interface Function {
        Object call(String method, List<Object> arguments) throws Exception;
    }

    /** An exception of C++, with a throwable of Java that passed through, or null. */
    static final class CppException extends Exception {
        private static final long serialVersionUID = 1L;
        private final transient Handle throwable;

        CppException(String text, Handle throwable) {
            super(text);
            this.throwable = throwable;
        }
    }

    final Map<Long, Function> functions = new TreeMap<>();
    final List<String> calls = new ArrayList<>();
    /** The number of times by function. Guarded by this. */
    final Map<Long, Integer> dropped = new TreeMap<>();
    final List<String> handlers = new ArrayList<>();
    volatile CountDownLatch awaited = new CountDownLatch(0);
    /** Thrown instead of an answer; null for none. */
    volatile RuntimeException broken;

    private final ObjectBroker broker = new ObjectBroker(FakeCpp.class::getClassLoader,
            Throwable::toString, new FunctionRegistry(this));

    /** A client, for one thread, of a broker that calls the functions here. */
    Client client() {
        return new Client(request -> broker.answer(request, 0, request.length, 0));
    }

    @Override
    public byte[] call(String handler, byte[] payload) {
        synchronized (this) {
            handlers.add(handler);
        }
        RuntimeException failure = broken;
        if (failure != null) {
            throw failure;
        }
        WireReader wire = new WireReader(payload, 0, payload.length);
        if (wire.u8() == 2) {
            return noteDropped(wire);
        }
        long id = wire.i64();
        String method = wire.text();
        Object[] arguments = new Object[wire.u8()];
        for (int index = 0; index < arguments.length; index++) {
            arguments[index] = Client.take(wire);
        }
        wire.requireEnd();
        calls.add(method + arguments.length);
        return answer(id, method, Arrays.asList(arguments));
    }

    private byte[] answer(long id, String method, List<Object> arguments) {
        WireWriter answer = new WireWriter(64);
        try {
            answer.u8(0);
            Client.put(answer, functions.get(id).call(method, arguments));
        } catch (CppException thrown) {
            answer.shrink(0);
            answer.u8(1).text(thrown.getMessage())
                    .i64(thrown.throwable == null ? 0 : thrown.throwable.number);
        } catch (Exception unexpected) {
            throw new IllegalStateException(unexpected);
        }
        return answer.toByteArray();
    }

    private synchronized byte[] noteDropped(WireReader wire) {
        int count = wire.i32();
        for (int index = 0; index < count; index++) {
            dropped.merge(wire.i64(), wire.i32(), Integer::sum);
            awaited.countDown();
        }
        wire.requireEnd();
        return new byte[0];
    }
}
