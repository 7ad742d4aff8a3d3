package com.ferrolink.core.receiver;

/**
 * The methods that the native library calls.
 *
 * <p><b>Threads:</b> thread-safe, also for attached native threads.
 *
 * <p><b>Interrupts:</b> after a command, the interrupt flag that the command set on a native thread is
 * cleared, see {@link InterruptFlag}.
 *
 * <p><b>Errors:</b> no method throws or returns null. Any failure is answered with an exception report:
 * command type 10, the body a text in UTF-8.
 *
 * <p><b>Ownership:</b> commands are read during the call only and are not changed. The caller owns the
 * replies.
 */
public final class Receiver {

    private static final CommandDispatcher DISPATCHER = new CommandDispatcher(classPathLoader());

    /** Not a compile-time constant: its first use would allocate a string, perhaps on an exhausted heap. */
    private static final String NO_RUNTIME_INFO = RuntimeInfo.unavailable();

    static {
        ExceptionReport.prepare();
    }

    private Receiver() {
    }

    /**
     * Answers a command.
     *
     * @param command a header of 11 bytes and a body. Byte 9 is the calling runtime, byte 10 the command
     *     type. Types 2 and 3 call the {@link CommandHandler} that the body names; the time limit of type
     *     3 is ignored. Type 11 is a heartbeat. Type 1 adds an archive or a directory of archives.
     * @return a header of 11 bytes and a body. Byte 0 is the calling runtime, byte 9 is 2 for this JVM,
     *     byte 10 is 0, or 10 after a failure. The answer to type 1 is the same in all runtimes.
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
     * @return a reply of type 0 with the body of the command. Any other command is not executed but
     *     gets an exception report.
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
     * MiB, the class path, archives added later, handlers, and handlers that are not available.
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

    /** Never null: that would be the bootstrap loader, which does not see the class path. */
    private static ClassLoader classPathLoader() {
        ClassLoader own = Receiver.class.getClassLoader();
        return own == null ? ClassLoader.getSystemClassLoader() : own;
    }
}
