package com.ferrolink.core.receiver;

/**
 * A function of this JVM that other runtimes of the process call by name.
 *
 * <p>Handlers are found with {@link java.util.ServiceLoader}: an archive that holds some lists their
 * classes in {@code META-INF/services/com.ferrolink.core.receiver.CommandHandler}. Each class is
 * public, has a public constructor without parameters, and is instantiated once per process.
 *
 * <p><b>Threads:</b> the one instance is called by any number of threads at once, among them threads
 * that were not created by Java and are known to the JVM only for the time of the call. During a call
 * the thread's context class loader is the loader of the handler's class.
 */
public interface CommandHandler {

    /**
     * The name by which callers address this handler. Asked once, when the handler is registered.
     *
     * @return 1 to 255 bytes when encoded as UTF-8, the same on every call. Of two handlers with one
     *     name the first found is used; the other one is reported and never called.
     */
    String name();

    /**
     * Answers one call.
     *
     * @param payload the bytes that the caller sent, possibly none, never null. The array belongs to
     *     the handler, which may keep, change or return it.
     * @return the bytes to reply with, possibly none. They are copied before the caller gets them, so
     *     the handler may keep the array, but must not change it before its next call on this thread.
     *     Null is answered to the caller as a failure.
     * @throws Exception whatever goes wrong. The caller gets this, like any error, as an exception
     *     reply with the classes, messages, causes and frames as text.
     */
    byte[] handle(byte[] payload) throws Exception;
}
