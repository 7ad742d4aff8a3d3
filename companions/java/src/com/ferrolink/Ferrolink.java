package com.ferrolink;

import com.ferrolink.core.objects.TypedFunctions;
import com.ferrolink.core.protocol.CommandHeader;
import com.ferrolink.core.receiver.Receiver;
import java.nio.ByteBuffer;
import java.nio.ReadOnlyBufferException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import java.util.Objects;

/**
 * Calls functions of another runtime, in this process or behind a network endpoint.
 *
 * <pre>{@code
 * try (Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP)) {
 *     byte[] reply = cpp.call("reverse", "hello".getBytes(StandardCharsets.UTF_8));
 * }
 * }</pre>
 *
 * <p><b>Threads:</b> thread-safe. Commands of several threads run in parallel. One object may serve a
 * whole program.
 *
 * <p><b>Blocking:</b> {@link #call(String, byte[])}, {@link #heartbeat} and {@link #loadLibrary} block
 * until the answer is there, without a time limit. The first command to a target also loads its library
 * and starts its runtime, or connects. {@link #call(String, byte[], Duration)} gives up when its time is
 * over. An interrupt ends none of them; the thread's interrupt flag stays set.
 *
 * <p><b>Virtual threads:</b> a command and its answer must stay on one platform thread. Commands of
 * virtual threads therefore run on a pool, while the virtual thread waits without its carrier. The pool
 * has up to 16 threads. The system property {@code ferrolink.platformThreads} (1 to 1024) changes that;
 * it is read when the first virtual thread calls. Further commands wait for a free thread.
 *
 * <p><b>Errors:</b> {@link FerrolinkException} if the command did not get through,
 * {@link RemoteException} if it did and failed there. A native failure takes 50 ms on purpose, and is
 * logged.
 *
 * <p><b>Lifetime:</b> runtimes, native libraries and connections live until the process ends. Closing
 * an object frees nothing; it only makes later commands of the object fail.
 */
public final class Ferrolink implements AutoCloseable {

    private final Target target;
    private final NativeCalls calls;
    private final PlatformThreads threads;
    private final TimedThreads timedThreads;
    private volatile boolean closed;

    Ferrolink(Target target, NativeCalls calls, PlatformThreads threads, TimedThreads timedThreads) {
        this.target = Objects.requireNonNull(target, "target");
        this.calls = calls;
        this.threads = threads;
        this.timedThreads = timedThreads;
    }

    /**
     * An object that sends to the target. Loads the native library of the installation. The first
     * command connects, or loads the target's runtime.
     *
     * @param target where commands go, not null
     * @return the object
     * @throws FerrolinkException if the native library cannot be loaded
     */
    public static Ferrolink to(Target target) {
        Objects.requireNonNull(target, "target");
        return new Ferrolink(target, JniCalls.load(), PlatformThreads.shared(), TimedThreads.shared());
    }

    /**
     * An object that sends to a runtime in this process.
     *
     * @param runtime the runtime, not null
     * @return the object
     * @throws FerrolinkException if the native library cannot be loaded
     */
    public static Ferrolink inMemory(RuntimeId runtime) {
        return to(Target.inMemory(runtime));
    }

    /**
     * An object that sends over TCP, unencrypted.
     *
     * @param runtime the runtime, not null
     * @param host an IPv4 address such as {@code 127.0.0.1}
     * @param port 1 to 65535
     * @return the object
     * @throws IllegalArgumentException if {@code host} or {@code port} is something else
     * @throws FerrolinkException if the native library cannot be loaded
     */
    public static Ferrolink tcp(RuntimeId runtime, String host, int port) {
        return to(Target.tcp(runtime, host, port));
    }

    /**
     * An object that sends over TCP with TLS.
     *
     * @param runtime the runtime, not null
     * @param host an IPv4 address such as {@code 127.0.0.1}
     * @param port 1 to 65535
     * @return the object
     * @throws IllegalArgumentException if {@code host} or {@code port} is something else
     * @throws FerrolinkException if the native library cannot be loaded
     */
    public static Ferrolink tls(RuntimeId runtime, String host, int port) {
        return to(Target.tls(runtime, host, port));
    }

    /**
     * The target of this object's commands.
     *
     * @return the target, also after {@link #close}
     */
    public Target target() {
        return target;
    }

    /**
     * Calls a handler of the target and waits for its answer.
     *
     * @param handler the name of the handler, 1 to 255 bytes in UTF-8, not null
     * @param payload the bytes to send, possibly none, not null; neither changed nor kept
     * @return the bytes that the handler answered with, possibly none, in an array of their own
     * @throws IllegalArgumentException if the name is empty, too long or no valid Unicode text, or the
     *     command would be longer than an array can be
     * @throws IllegalStateException after {@link #close}
     * @throws RemoteException if the handler failed, or there is none of that name
     * @throws FerrolinkException if the command did not get through
     * @throws OutOfMemoryError if the heap has no room for the command or the answer
     */
    public byte[] call(String handler, byte[] payload) {
        requireOpen();
        byte[] name = HandlerNames.encode(handler);
        Objects.requireNonNull(payload, "payload");
        CallBuffers buffers = CallBuffers.take();
        try {
            byte[] command = buffers.command(CommandBuilder.callSize(name, payload.length));
            int start = CommandBuilder.putCall(command, target, name);
            System.arraycopy(payload, 0, command, start, payload.length);
            int length = exchange(command, buffers);
            return Arrays.copyOfRange(buffers.response(length), CommandHeader.SIZE, length);
        } finally {
            buffers.giveBack();
        }
    }

    /**
     * Calls a handler of the target, and puts its answer into a buffer of the caller's. On platform
     * threads, allocates nothing as long as sizes repeat. Also throws what {@link #call(String, byte[])}
     * throws.
     *
     * @param handler as for {@link #call(String, byte[])}
     * @param payload the bytes to send, from its position to its limit, not null. Neither its bytes nor
     *     its position change.
     * @param answer receives the answer at its position, which moves behind it. Not null and not
     *     read-only. Unchanged after a failure. May share its bytes with the payload.
     * @return the number of bytes in the answer
     * @throws java.nio.ReadOnlyBufferException if {@code answer} is read-only; nothing is sent
     * @throws AnswerTooLongException if the rest of the buffer is too short; the exception has the answer
     */
    public int call(String handler, ByteBuffer payload, ByteBuffer answer) {
        requireOpen();
        byte[] name = HandlerNames.encode(handler);
        if (answer.isReadOnly()) {
            throw new ReadOnlyBufferException();
        }
        CallBuffers buffers = CallBuffers.take();
        try {
            byte[] command = buffers.command(CommandBuilder.callSize(name, payload.remaining()));
            int start = CommandBuilder.putCall(command, target, name);
            payload.duplicate().get(command, start, payload.remaining());
            int length = exchange(command, buffers);
            int size = length - CommandHeader.SIZE;
            if (size > answer.remaining()) {
                throw new AnswerTooLongException(answer.remaining(),
                        Arrays.copyOfRange(buffers.response(length), CommandHeader.SIZE, length));
            }
            answer.put(buffers.response(length), CommandHeader.SIZE, size);
            return size;
        } finally {
            buffers.giveBack();
        }
    }

    /**
     * Calls a handler of the target and waits for its answer, at most for the given time.
     *
     * <p>Over a network the command carries the time that is left. A server does not begin a command
     * whose time is over. If the caller gives up, the connection is closed.
     *
     * <p>In this process the command runs on a thread of a pool. If the caller gives up, the handler
     * continues to run, and its answer is dropped. The pool has up to 256 threads. The system property
     * {@code ferrolink.timedThreads} (1 to 1024) changes that; it is read when the first such command is
     * sent. A command waits for a free thread. Virtual threads also use this pool over a network.
     *
     * @param handler as for {@link #call(String, byte[])}
     * @param payload as for {@link #call(String, byte[])}
     * @param limit how long to wait, not null. If it is zero or negative, nothing is sent. Limits above
     *     2^32 - 1 milliseconds (49 days) are cut to that.
     * @return the bytes that the handler answered with, possibly none, in an array of their own
     * @throws IllegalArgumentException as for {@link #call(String, byte[])}
     * @throws IllegalStateException after {@link #close}
     * @throws RemoteException if the handler failed, or there is none of that name
     * @throws DeadlineExceededException if the time was over before the answer came; {@link
     *     FerrolinkException#mayHaveExecuted} says whether the command was sent
     * @throws FerrolinkException if the command did not get through
     * @throws OutOfMemoryError if the heap has no room for the command or the answer, or the system has
     *     no memory for another thread
     */
    public byte[] call(String handler, byte[] payload, Duration limit) {
        requireOpen();
        Deadline deadline = Deadline.after(Objects.requireNonNull(limit, "limit"));
        boolean inMemory = target.channel() == ChannelType.IN_MEMORY;
        // Runtimes in this process ignore the time limit, and some may not know that command type.
        Exchange exchange = new Exchange(calls, inMemory ? CommandBuilder.call(target, handler, payload)
                : CommandBuilder.callWithin(target, handler, payload), deadline);
        if (!inMemory && !PlatformThreads.isVirtual(Thread.currentThread())) {
            exchange.run();
        } else if (!timedThreads.run(exchange, deadline)) {
            throw exchange.giveUp();
        }
        return answerIn(exchange);
    }

    /**
     * An object whose methods call typed functions of the target: those of their names, or of their
     * {@link FunctionName}.
     *
     * <pre>{@code
     * interface Stats {
     *     double sum(double[] values);
     * }
     *
     * double sum = cpp.as(Stats.class).sum(new double[] {1, 2});
     * }</pre>
     *
     * <p>Parameters and results are primitives, their boxes, texts, and arrays of these in any depth. In
     * this process they may be any object, which is passed as a handle. C++ uses objects by commands to
     * Java; unless a listener is registered, these are then answered as {@link #onCommands} says. A
     * listener of the program's own must pass calls of the handler {@code objects} on to {@link
     * Receiver#sendCommand}. Default methods run in Java, unless they have a {@link FunctionName}.
     *
     * <p>The object is thread-safe. Its methods throw what {@link #call(String, byte[])} throws. They also
     * throw {@link IllegalArgumentException} if the types of arguments or of the result are not those of
     * the function; its text names the parameter and the types.
     *
     * @param functions an interface, not null
     * @param <T> the interface
     * @return the object, which belongs to the caller and needs no closing
     * @throws IllegalArgumentException if the type is no interface, or has a method with more than 255
     *     parameters or, for a target behind a network, a method with objects
     */
    public <T> T as(Class<T> functions) {
        Objects.requireNonNull(functions, "functions");
        return TypedFunctions.make(functions, target.toString(), this::call,
                target.channel() == ChannelType.IN_MEMORY ? this::serveObjects : null);
    }

    /** Functions of this process use objects by commands of their own. */
    private void serveObjects() {
        CallbackSlot.ofProcess(calls).setIfEmpty(Receiver::sendCommand);
    }

    /**
     * Checks that the target's runtime answers.
     *
     * @throws IllegalStateException after {@link #close}
     * @throws RemoteException if the target reports a failure
     * @throws FerrolinkException if the target cannot be reached
     */
    public void heartbeat() {
        requireOpen();
        answerTo(CommandBuilder.heartbeat(target));
    }

    /**
     * Asks the target to load a library with handlers: an archive, a shared library or a module,
     * depending on its runtime.
     *
     * @param path the library's path on the target's machine, not empty, without zero characters. A
     *     relative path is relative to the target's working directory.
     * @throws IllegalArgumentException if the path is empty, has a zero character or is no valid
     *     Unicode text
     * @throws IllegalStateException after {@link #close}
     * @throws RemoteException if the target could not load it and reports why
     * @throws FerrolinkException if the command did not get through
     */
    public void loadLibrary(String path) {
        requireOpen();
        answerTo(CommandBuilder.loadLibrary(target, path));
    }

    /**
     * The same as {@link #loadLibrary(String)} with the path's text.
     *
     * @param path the library's path on the target's machine, not null
     * @throws IllegalArgumentException as for a text
     * @throws IllegalStateException after {@link #close}
     * @throws RemoteException if the target could not load it and reports why
     * @throws FerrolinkException if the command did not get through
     */
    public void loadLibrary(Path path) {
        loadLibrary(path.toString());
    }

    /**
     * Registers the listener that answers commands of other runtimes in this process. A process has one
     * listener; this call replaces it.
     *
     * <p>For programs that Java started. If a native host started the JVM, commands go to the installed
     * {@link com.ferrolink.core.receiver.CommandHandler}s, and the listener is never called.
     *
     * @param listener the listener; null unregisters
     * @return the registration; closing it unregisters the listener, unless another one replaced it
     * @throws FerrolinkException if the native library cannot be loaded
     */
    public static CommandRegistration onCommand(CommandListener listener) {
        NativeCalls loaded = JniCalls.load();
        return CallbackSlot.ofProcess(loaded).set(listener);
    }

    /**
     * Registers a listener that passes commands to the built-in handlers and to the {@link
     * com.ferrolink.core.receiver.CommandHandler}s on the class path.
     *
     * @return the registration; closing it unregisters the listener, unless another one replaced it
     * @throws FerrolinkException if the native library cannot be loaded
     */
    public static CommandRegistration onCommands() {
        return onCommand(Receiver::sendCommand);
    }

    /**
     * Closes this object: later commands throw {@link IllegalStateException}, running ones complete.
     * Idempotent. The target, other objects and a registered listener are not affected.
     */
    @Override
    public void close() {
        closed = true;
    }

    /** The target, and whether this object is closed. */
    @Override
    public String toString() {
        return "Ferrolink to " + target + (closed ? ", closed" : "");
    }

    private void requireOpen() {
        if (closed) {
            throw new IllegalStateException("This " + Ferrolink.class.getSimpleName() + " to " + target
                    + " is closed.");
        }
    }

    private byte[] answerTo(byte[] command) {
        Exchange exchange = new Exchange(calls, command, null);
        threads.run(exchange);
        return answerIn(exchange);
    }

    private byte[] answerIn(Exchange exchange) {
        byte[] response = exchange.response();
        requireAnswer(response, response.length);
        return Arrays.copyOfRange(response, CommandHeader.SIZE, response.length);
    }

    /** Returns the length of the answer with its header, which is in the buffers' response. */
    private int exchange(byte[] command, CallBuffers buffers) {
        int length = PlatformThreads.isVirtual(Thread.currentThread())
                ? Exchange.runInPool(threads, calls, command, buffers)
                : Exchange.run(calls, command, buffers);
        requireAnswer(buffers.response(length), length);
        return length;
    }

    private void requireAnswer(byte[] response, int length) {
        int type = CommandHeader.typeOf(response);
        if (type == CommandHeader.TYPE_EXCEPTION_REPORT) {
            throw new RemoteException(new String(response, CommandHeader.SIZE, length - CommandHeader.SIZE,
                    StandardCharsets.UTF_8));
        }
        if (type != CommandHeader.TYPE_ANSWER) {
            throw new FerrolinkException(target + " answered with type " + type
                    + ", which is neither an answer (0) nor an exception report (10).", null, true);
        }
    }
}
