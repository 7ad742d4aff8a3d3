package com.ferrolink.core.receiver;

/**
 * The entry points of the native library into this JVM.
 *
 * <p><b>Threads:</b> every method may be called by any number of threads at once, attached native
 * ones among them.
 *
 * <p><b>Interrupts:</b> a native thread leaves a command without the interrupt flag that the command
 * set, see {@link InterruptFlag}.
 *
 * <p><b>Errors:</b> nothing is ever thrown and nothing is ever null. What goes wrong, whatever it is,
 * is answered with an exception reply: command type 10, the body a text in UTF-8.
 *
 * <p><b>Ownership:</b> commands are read during the call only and are not changed. Replies belong to
 * the caller.
 */
public final class Receiver {

    private static final CommandDispatcher DISPATCHER = new CommandDispatcher(classPathLoader());

    /** No constant: the first use of one allocates its string, and the heap may be exhausted then. */
    private static final String NO_RUNTIME_INFO = RuntimeInfo.unavailable();

    static {
        ExceptionReport.prepare();
    }

    private Receiver() {
    }

    /**
     * Answers a command.
     *
     * @param command a header of 11 bytes, of which byte 9 is the calling runtime and byte 10 the
     *     command type, and a body. Types 2 and 3 call the {@link CommandHandler} that the body names
     *     (3 begins with four bytes of a time limit, which mean nothing here), type 11 is a heartbeat,
     *     type 1 adds an archive or a directory of archives.
     * @return a header of 11 bytes, of which byte 0 is the calling runtime, byte 9 is 2 for this JVM
     *     and byte 10 is 0, or 10 for a failure; and a body. Type 1 is answered with the 17 bytes
     *     that all runtimes answer it with.
     */
    public static byte[] sendCommand(byte[] command) {
        boolean interrupted = InterruptFlag.beginCommand();
        try {
            return DISPATCHER.answer(command);
        } catch (Throwable failure) {
            return LastResortReply.to(CommandFrame.callerOf(command));
        } finally {
            InterruptFlag.endCommand(interrupted);
        }
    }

    /**
     * Answers a heartbeat.
     *
     * @param command a header as for {@link #sendCommand} with command type 11, and a body
     * @return a reply of type 0 with the body of the command. Any other command is not carried out and
     *     answered with an exception reply.
     */
    public static byte[] heartBeat(byte[] command) {
        try {
            return DISPATCHER.answerHeartBeat(command);
        } catch (Throwable failure) {
            return LastResortReply.to(CommandFrame.callerOf(command));
        }
    }

    /**
     * Describes this JVM: Java and its vendor, the virtual machine, garbage collectors, the heap in
     * MiB, the class path, archives added later, handlers, and handlers that could not be used.
     *
     * @return lines of text, each of which ends with a line feed
     */
    public static String getRuntimeInfo() {
        boolean interrupted = InterruptFlag.beginCommand();
        try {
            return DISPATCHER.describe();
        } catch (Throwable failure) {
            return NO_RUNTIME_INFO;
        } finally {
            InterruptFlag.endCommand(interrupted);
        }
    }

    /** Null would stand for the bootstrap loader, which knows nothing of the class path. */
    private static ClassLoader classPathLoader() {
        ClassLoader own = Receiver.class.getClassLoader();
        return own == null ? ClassLoader.getSystemClassLoader() : own;
    }
}
