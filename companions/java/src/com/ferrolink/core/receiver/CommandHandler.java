package com.ferrolink.core.receiver;

/**
 * A function of this JVM that other runtimes of the process call by name.
 *
 * <pre>{@code
 * public final class Reverse implements CommandHandler {
 *     public String name() {
 *         return "reverse";
 *     }
 *
 *     public byte[] handle(byte[] payload) {
 *         return new StringBuilder(new String(payload, US_ASCII)).reverse().toString().getBytes(US_ASCII);
 *     }
 * }
 * }</pre>
 *
 * <p>Handlers are found with {@link java.util.ServiceLoader}: their archive lists their classes in {@code
 * META-INF/services/com.ferrolink.core.receiver.CommandHandler}. A class is public, has a public
 * constructor without parameters, and is instantiated once per process.
 *
 * <p>A {@link BufferHandler} answers without copies of payload and answer.
 *
 * <p><b>Threads:</b> a handler must be thread-safe. Threads that Java did not create are attached for one
 * call only. During a call the thread's context class loader is the loader of the handler's class.
 */
public interface CommandHandler {

    /**
     * The name by which callers address this handler. Called once, at registration.
     *
     * @return 1 to 255 bytes when encoded as UTF-8. If two handlers have the same name, the first one
     *     that is found serves it; the other one is reported as a problem and never called.
     */
    String name();

    /**
     * Answers one call.
     *
     * @param payload the bytes that the caller sent, possibly none, never null. The handler owns the array
     *     and may keep, change or return it.
     * @return the bytes to reply with, possibly none. The library copies them after this method returns.
     *     The handler may keep the array, but must not change it before its next call on this thread. If
     *     it is null, the caller gets a failure.
     * @throws Exception any failure. The caller gets an exception report with classes, messages,
     *     causes and frames. Errors are reported in the same way.
     */
    byte[] handle(byte[] payload) throws Exception;
}
