package com.ferrolink.core.transmitter;

/**
 * The native methods of {@code libFerrolinkJvmRuntimeNative.so}. The first use of this class loads the
 * library of the installation, as {@link NativeLibrary#load} does.
 *
 * <p><b>Errors:</b> no method throws. Each has a negative result of its own for failures, and {@link
 * #getNativeError} returns the text. A null array or text is a failure. Other results, also negative ones,
 * come from the runtime or library that was called.
 *
 * <p><b>Threads:</b> thread-safe. A response waits for the platform thread that sent the command: call
 * {@link #sendCommand}, {@link #readResponse} and, after a failure, {@link #getNativeError} on the same
 * platform thread. A virtual thread must not call them, since its carrier may change between two calls.
 *
 * <p><b>Blocking:</b> a command blocks until it is executed. An interrupt does not end it.
 */
public final class TransmitterWrapper {

    static {
        NativeLibrary.load();
    }

    private TransmitterWrapper() {
    }

    /**
     * Sends a command and waits for its response. The first call fixes the operation mode: Java drives
     * this process, unless another runtime called first.
     *
     * @param command a header of 11 bytes and a body; not changed and not kept
     * @return the length of the response in bytes; 0 for an empty array; -2 for a failure
     */
    public static native int sendCommand(byte[] command);

    /**
     * Reads the response to the last command of this thread and discards it.
     *
     * @param buffer an array of the length that {@link #sendCommand} returned. Its first byte must be the code
     *     of the target runtime. Filled with the response, which is cut off if it does not fit; unchanged
     *     after a failure.
     * @return 0; -3 for a failure
     */
    public static native int readResponse(byte[] buffer);

    /**
     * Tells a runtime of this process where its own files lie. Reaches the runtime that this process set
     * up last, whichever is named.
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
     * Asks a runtime to deploy a package. In this process it reaches the runtime that was set up last,
     * whichever is named.
     *
     * @param message a command header of 11 bytes; the last one, the command type, may be missing
     * @param path the package's path
     * @param flag what the other runtime documents; its low byte counts
     * @return what the other runtime returned; -5 for a failure
     */
    public static native int deployRuntime(byte[] message, String path, int flag);

    /**
     * Sets the configuration of the process. To be called before all other methods.
     *
     * @param source the path of a configuration file, or the configuration itself
     * @return what the configuration library returned; -6 for a failure
     */
    public static native int setConfigSource(String source);

    /**
     * Sets the directory of the error log.
     *
     * @param path an existing directory
     * @return what the configuration library returned; -7 for a failure
     */
    public static native int setWorkingDirectory(String path);

    /**
     * The text of a failure of these methods. After a failure on the calling thread, the first call
     * returns the text of that failure. Every other call returns the text of the last failure in the
     * process, on any thread; reading does not reset it.
     *
     * @return the text; {@code Undefined error} before any failure; null if the heap has no room for it,
     *     and then the thread's own text can be read again
     */
    public static native String getNativeError();

    /**
     * Registers the object that answers commands of other runtimes, if Java drives the process. Replaces
     * the former one. There is no result: after a failure {@link #getNativeError} returns another text.
     *
     * @param callback an object with a method {@code Object apply(Object)}, which takes a command and
     *     returns a reply, both {@code byte[]}. The library keeps a strong reference. Null unregisters.
     */
    public static native void setCallback(Object callback);
}
