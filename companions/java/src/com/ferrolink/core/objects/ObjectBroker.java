package com.ferrolink.core.objects;

import java.util.ArrayList;
import java.util.List;
import java.util.function.Function;
import java.util.function.Supplier;

/**
 * Answers the typed calls of other runtimes: the work of the built-in handler {@code objects}.
 * {@code docs/objects.md} describes the encoding. All brokers of a process share handles, members and
 * functions; they differ in the classes that they find.
 *
 * <p><b>Threads:</b> thread-safe.
 *
 * <p><b>Errors:</b> if a request is refused or ends with an exception, the reply says so. A method
 * throws only if the broker itself fails, for example when memory runs out.
 */
public final class ObjectBroker {

    /** The name of the handler. */
    public static final String HANDLER = "objects";

    private static final int REPLY_CAPACITY = 64;
    /** The result of a request that failed. */
    private static final Object FAILED = new Object();

    private final ClassFinder classes;
    private final Function<Throwable, String> report;
    private final Operations operations;

    /**
     * Creates a broker.
     *
     * @param loader supplies the loader that finds classes, called for each search; not null
     * @param report describes a Throwable with its causes, not null
     */
    public ObjectBroker(Supplier<ClassLoader> loader, Function<Throwable, String> report) {
        this(loader, report, FunctionRegistry.shared());
    }

    /** Tests use functions of their own. */
    ObjectBroker(Supplier<ClassLoader> loader, Function<Throwable, String> report,
            FunctionRegistry functions) {
        this.classes = new ClassFinder(loader);
        this.report = report;
        this.operations =
                new Operations(HandleTable.shared(), MemberTable.shared(), classes, functions);
    }

    /**
     * Answers a request. Meanwhile the thread's context class loader is the broker's.
     *
     * @param bytes holds the request; not changed and not kept
     * @param offset the index of its first byte
     * @param end the index behind its last byte
     * @param room the number of bytes that the caller wants in front of the reply
     * @return the room and the reply, in an array owned by the caller
     */
    public byte[] answer(byte[] bytes, int offset, int end, int room) {
        Thread thread = Thread.currentThread();
        ClassLoader previous = thread.getContextClassLoader();
        ClassLoader loader = classes.loader();
        if (previous != loader) {
            thread.setContextClassLoader(loader);
        }
        try {
            return reply(bytes, offset, end, room);
        } finally {
            if (thread.getContextClassLoader() != previous) {
                thread.setContextClassLoader(previous);
            }
        }
    }

    private byte[] reply(byte[] bytes, int offset, int end, int room) {
        WireWriter wire = new WireWriter(room + REPLY_CAPACITY);
        wire.claim(room);
        ValueWriter out = new ValueWriter(wire, HandleTable.shared());
        WireReader in = new WireReader(bytes, offset, end);
        boolean done = false;
        try {
            releaseFirst(in);
            perform(in, null, out);
            done = true;
        } catch (Refusal refusal) {
            FailureReply.refusal(wire, refusal);
            done = true;
        } finally {
            if (!done) {
                out.releaseMade(0);
            }
        }
        return wire.toByteArray();
    }

    /** Reads and performs the releases. They are performed even if the request is then refused. */
    private static void releaseFirst(WireReader in) {
        int count = in.u16();
        if (count * Long.BYTES > in.left()) {
            throw in.malformed(Short.BYTES, count + " releases are announced, " + in.left()
                    + " bytes follow.");
        }
        for (int index = 0; index < count; index++) {
            HandleTable.shared().release(in.i64());
        }
    }

    /**
     * Performs one request and writes its reply, also if it fails.
     *
     * @param earlier the results of earlier requests of the same batch; null outside a batch
     * @return the result for later requests, or {@link #FAILED}
     */
    private Object perform(WireReader wire, List<Object> earlier, ValueWriter out) {
        int start = out.wire().size();
        int made = out.madeCount();
        try {
            out.wire().u8(FailureReply.SUCCESS);
            int operation = wire.u8();
            if (operation == Operations.BATCH && earlier == null) {
                batch(wire, out);
                return null;
            }
            ValueReader in = ValueReader.ofRequest(wire, HandleTable.shared(), classes, earlier);
            return operations.perform(operation, in, out);
        } catch (Refusal refusal) {
            takeBack(out, start, made);
            FailureReply.refusal(out.wire(), refusal);
        } catch (Throwable failure) {
            takeBack(out, start, made);
            FailureReply.thrown(out, failure, report);
        }
        return FAILED;
    }

    private static void takeBack(ValueWriter out, int size, int made) {
        out.wire().shrink(size);
        out.releaseMade(made);
    }

    /** Ends after the first request that fails. */
    private void batch(WireReader wire, ValueWriter out) {
        WireReader[] requests = requestsOf(wire);
        WireWriter replies = out.wire();
        int countPlace = replies.size();
        replies.i32(0);
        List<Object> results = new ArrayList<>();
        boolean failed = false;
        for (int index = 0; index < requests.length && !failed; index++) {
            int sizePlace = replies.size();
            replies.i32(0);
            Object result = perform(requests[index], results, out);
            failed = result == FAILED;
            results.add(result);
            replies.setI32(sizePlace, replies.size() - sizePlace - Integer.BYTES);
            replies.setI32(countPlace, index + 1);
        }
    }

    /** Reads all requests before the first one is performed. */
    private static WireReader[] requestsOf(WireReader wire) {
        WireReader[] requests = new WireReader[wire.count(Integer.BYTES)];
        for (int index = 0; index < requests.length; index++) {
            int size = wire.count(1);
            int start = wire.skip(size);
            requests[index] = new WireReader(wire.bytes(), start, start + size);
        }
        wire.requireEnd();
        return requests;
    }
}
