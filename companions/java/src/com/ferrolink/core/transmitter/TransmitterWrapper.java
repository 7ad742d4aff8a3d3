package com.ferrolink.core.transmitter;

/**
 * The native methods of {@code libFerrolinkJvmRuntimeNative.so}. The first use of this class loads the
 * library of the installation, as {@link NativeLibrary#load} does.
 *
 * <p>The negative results below are failures, each method has its own; {@link #getNativeError} has the
 * text. None throws a Java exception. A null array or text is a failure like others. Other results,
 * negative ones too, are those of the runtime or library that was called.
 *
 * <p><b>Threads:</b> every method may be called by any number of threads at once. A response waits for
 * the platform thread that sent the command: {@link #sendCommand}, {@link #readResponse} and, after a
 * failure, {@link #getNativeError} belong together on one platform thread. A virtual thread may change
 * its carrier between two of them, and must leave them to a platform thread.
 *
 * <p><b>Blocking:</b> a command blocks until it is carried out; an interrupt does not end it.
 */
public final class TransmitterWrapper {

    static {
        NativeLibrary.load();
    }

    private TransmitterWrapper() {
    }

    /**
     * Sends a command and waits until its response is there. The first call settles that this process
     * is driven by Java, unless another runtime came first.
     *
     * @param command a header of 11 bytes and a body; not changed and not kept
     * @return the length of the response in bytes; 0 for an empty array; -2 for a failure
     */
    public static native int sendCommand(byte[] command);

    /**
     * Reads the response to the last command of this thread, which is gone then.
     *
     * @param buffer as long as {@link #sendCommand} said, its first byte the code of the runtime that
     *     the command was for; filled with the response, unchanged after a failure. What does not fit
     *     is cut off.
     * @return 0; -3 for a failure
     */
    public static native int readResponse(byte[] buffer);

    /**
     * Tells a runtime of this process where its own files lie. It reaches the runtime that this process
     * set up last, which is the one named where no other was called in between.
     *
     * @param callingRuntime the code of this runtime, 2; its low byte counts
     * @param calledRuntime the code of the other one; its low byte counts
     * @param launchArgument 0, or what the other runtime documents; its low byte counts
     * @param path the path
     * @return what the other runtime returned; -4 for a failure
     */
    public static native int setEmbeddedRuntime(int callingRuntime, int calledRuntime,
            int launchArgument, String path);

    /**
     * Has a runtime deploy a package. In this process it reaches the runtime that was set up last, which
     * is the one named where no other was called in between.
     *
     * @param message a command header; of its 11 bytes the last one, the command type, may be missing
     * @param path the package's path
     * @param flag what the other runtime documents; its low byte counts
     * @return what the other runtime returned; -5 for a failure
     */
    public static native int deployRuntime(byte[] message, String path, int flag);

    /**
     * Sets the configuration of the process. Best before anything else.
     *
     * @param source the path of a configuration file, or the configuration itself
     * @return what the configuration library returned; -6 for a failure
     */
    public static native int setConfigSource(String source);

    /**
     * Sets the directory that the error log is written to.
     *
     * @param path an existing directory
     * @return what the configuration library returned; -7 for a failure
     */
    public static native int setWorkingDirectory(String path);

    /**
     * The text of a failure of these methods. A thread on which one of them has failed gets the text of
     * its own last failure, once. Every other call returns the text of the last failure in the process,
     * on whichever thread it happened, which reading does not reset.
     *
     * @return the text, {@code Undefined error} before any failure; null if the heap has no room for it,
     *     and a text of the thread's own goes on waiting
     */
    public static native String getNativeError();

    /**
     * Registers the object that answers commands from other runtimes while Java is the calling one, in
     * place of the one before. There is no result: {@link #getNativeError} changes if it fails.
     *
     * @param callback an object with a method {@code Object apply(Object)}, which takes a command and
     *     must return a reply, both {@code byte[]}; null unregisters. It is held strongly.
     */
    public static native void setCallback(Object callback);
}
