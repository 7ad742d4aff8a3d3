package com.ferrolink.core.objects;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.CountDownLatch;

/** A fake C++ member: functions by number, and the reports of collected proxies. */
final class FakeCpp implements CppCalls {

    /** One function. */
    interface Function {
        Object call(String method, List<Object> arguments) throws Exception;
    }

    /** A C++ exception. It may have a Java throwable that passed through C++, else null. */
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
    /** The reported count of each function. Guarded by this. */
    final Map<Long, Integer> dropped = new TreeMap<>();
    final List<String> handlers = new ArrayList<>();
    volatile CountDownLatch awaited = new CountDownLatch(0);
    /** If not null, thrown instead of an answer. */
    volatile RuntimeException broken;

    private final ObjectBroker broker = new ObjectBroker(FakeCpp.class::getClassLoader,
            Throwable::toString, new FunctionRegistry(this));

    /** Creates a client for one thread. Its broker calls the functions of this fake. */
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
