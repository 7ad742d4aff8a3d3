package com.ferrolink;

import com.ferrolink.core.objects.TypedFunctions;
import com.ferrolink.core.protocol.CommandHeader;
import com.ferrolink.core.receiver.Receiver;
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
 * <p><b>Threads:</b> every method may be called by any number of threads at once; their commands run
 * at the same time. One object may serve a whole program.
 *
 * <p><b>Blocking:</b> {@link #call(String, byte[])}, {@link #heartbeat} and {@link #loadLibrary} return
 * when the answer is there and have no time limit of their own; the first command to a target also loads
 * its library and starts its runtime, or connects. {@link #call(String, byte[], Duration)} gives up when
 * its time is over. An interrupt does not end them; the thread is interrupted
 * afterwards as before. A command and its answer stay on one platform thread: the caller's own, or
 * one of a pool while a virtual caller waits without keeping its carrier. The pool has up to 16
 * threads, or as many as the system property {@code ferrolink.platformThreads} says (1 to 1024) when
 * the first virtual thread calls; further commands of virtual threads wait for one to become free.
 *
 * <p><b>Errors:</b> {@link FerrolinkException} if the command did not get through,
 * {@link RemoteException} if it did and failed over there. Constructing a native failure is slow on
 * purpose (50 ms) and is logged.
 *
 * <p><b>Lifetime:</b> runtimes, native libraries and connections live until the process ends. Closing
 * an object marks it, and frees nothing.
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
     * An object that sends to the target. Loads the native library of the installation, but neither
     * connects nor loads anything of the target: that happens with the first command.
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
     * Where commands go.
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
     * @param payload the bytes to send, possibly none, not null; not changed and not kept
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
        return answerTo(CommandBuilder.call(target, handler, payload));
    }

    /**
     * Calls a handler of the target and waits for its answer, but no longer than a time.
     *
     * <p>Over a network the time that is left travels with the command: a server does not begin one whose
     * time is over, and the connection of one that is given up is closed. In this process the command
     * runs on another thread, and giving up does not end it: the handler goes on, its answer is dropped.
     * Such a thread comes from a pool of up to 256, or as many as the system property {@code
     * ferrolink.timedThreads} says (1 to 1024) when the first such command is sent, and a command waits
     * for a free one. Virtual threads use that pool over a network, too.
     *
     * @param handler as for {@link #call(String, byte[])}
     * @param payload as for {@link #call(String, byte[])}
     * @param limit how long to wait, not null. Nothing is sent where it is zero or negative. More than
     *     2^32 - 1 milliseconds, 49 days, count as that.
     * @return the bytes that the handler answered with, possibly none, in an array of their own
     * @throws IllegalArgumentException as for {@link #call(String, byte[])}
     * @throws IllegalStateException after {@link #close}
     * @throws RemoteException if the handler failed, or there is none of that name
     * @throws DeadlineExceededException if the time was over before the answer came; {@link
     *     FerrolinkException#mayHaveExecuted} says whether the command was sent
     * @throws FerrolinkException if the command did not get through
     * @throws OutOfMemoryError if the heap has no room for the command or the answer, or the system has
     *     none for another thread
     */
    public byte[] call(String handler, byte[] payload, Duration limit) {
        requireOpen();
        Deadline deadline = Deadline.after(Objects.requireNonNull(limit, "limit"));
        boolean inMemory = target.channel() == ChannelType.IN_MEMORY;
        // Runtimes of this process do not ask for the time, and may not know of it.
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
     * <p>Parameters and results: primitives and their boxes, texts, arrays of these, to any depth, and in
     * this process any object, which goes as a handle. So that the functions can use objects, commands
     * from other runtimes are then answered as {@link #onCommands} says, unless a listener is registered.
     * A listener of the program's own has to pass calls of the handler {@code objects} on to {@link
     * Receiver#sendCommand}. Default methods run as usual, unless they have a {@link FunctionName}.
     *
     * <p>The object may be used by any number of threads at once. Its methods throw what {@link
     * #call(String, byte[])} throws, and {@link IllegalArgumentException} where the types of arguments or
     * of the result are not those of the function, with the parameter and the types.
     *
     * @param functions an interface, not null
     * @param <T> the interface
     * @return the object, which belongs to the caller and needs no closing
     * @throws IllegalArgumentException if it is no interface, or has a method with more than 255 parameters
     *     or, for a target behind a network, one with objects
     */
    public <T> T as(Class<T> functions) {
        Objects.requireNonNull(functions, "functions");
        return TypedFunctions.make(functions, target.toString(), this::call,
                target.channel() == ChannelType.IN_MEMORY ? this::serveObjects : null);
    }

    /** Functions of this process use objects by commands of their own. */
    private void serveObjects() {
        ProcessSlot.of(calls).setIfEmpty(Receiver::sendCommand);
    }

    /**
     * Returns if the target's runtime is there and answers.
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
     * Has the target load a library with handlers: an archive, a shared library, a module, whatever
     * the runtime has.
     *
     * @param path the library's path where the target runs, not empty, without zero characters. The
     *     target looks up a relative one from its own working directory.
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
     * Has the target load a library, as {@link #loadLibrary(String)} does with the path's text.
     *
     * @param path the library's path where the target runs, not null
     * @throws IllegalArgumentException as for a text
     * @throws IllegalStateException after {@link #close}
     * @throws RemoteException if the target could not load it and reports why
     * @throws FerrolinkException if the command did not get through
     */
    public void loadLibrary(Path path) {
        loadLibrary(path.toString());
    }

    /**
     * Registers what answers the commands that other runtimes of this process send to this program,
     * in place of what was registered before. There is one listener in a process, not one for each
     * object, and it stays until it is replaced or unregistered.
     *
     * <p>For programs that Java started. In a JVM that a native host started, commands go to the
     * installed {@link com.ferrolink.core.receiver.CommandHandler}s without any registration, and a
     * listener is not asked.
     *
     * @param listener what answers; null unregisters
     * @return closing it unregisters the listener, unless another one took its place
     * @throws FerrolinkException if the native library cannot be loaded
     */
    public static CommandRegistration onCommand(CommandListener listener) {
        NativeCalls loaded = JniCalls.load();
        return ProcessSlot.of(loaded).set(listener);
    }

    /**
     * Registers a listener that passes commands to the {@link
     * com.ferrolink.core.receiver.CommandHandler}s on the class path, found as their documentation
     * says, and to the built-in ones.
     *
     * @return closing it unregisters the listener, unless another one took its place
     * @throws FerrolinkException if the native library cannot be loaded
     */
    public static CommandRegistration onCommands() {
        return onCommand(Receiver::sendCommand);
    }

    /**
     * Marks this object as closed: later commands throw {@link IllegalStateException}, those that are
     * under way end as usual. Neither the target nor other objects notice, and a registered listener
     * stays. Calling it again has no effect.
     */
    @Override
    public void close() {
        closed = true;
    }

    /** The target and whether this object is closed, for people. */
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
        int type = CommandHeader.typeOf(response);
        if (type == CommandHeader.TYPE_ANSWER) {
            return Arrays.copyOfRange(response, CommandHeader.SIZE, response.length);
        }
        if (type == CommandHeader.TYPE_EXCEPTION_REPORT) {
            throw new RemoteException(new String(response, CommandHeader.SIZE,
                    response.length - CommandHeader.SIZE, StandardCharsets.UTF_8));
        }
        throw new FerrolinkException(target + " answered with type " + type
                + ", which is neither an answer (0) nor an exception report (10).", null, true);
    }

    /** Made with the first registration. */
    private static final class ProcessSlot {
        private static CallbackSlot slot;

        static synchronized CallbackSlot of(NativeCalls calls) {
            if (slot == null) {
                slot = new CallbackSlot(calls);
            }
            return slot;
        }
    }
}
