package com.ferrolink;

import com.ferrolink.core.protocol.CommandHeader;
import com.ferrolink.core.receiver.Answers;
import com.ferrolink.core.receiver.InterruptFlag;
import com.ferrolink.core.receiver.Receiver;
import java.util.function.Function;

/**
 * The object that the native library calls for commands from other runtimes. {@code apply} takes a
 * command and returns a reply, both byte arrays. It always returns a complete reply and never throws:
 * the library does not check what it gets.
 */
final class CommandCallback implements Function<Object, Object> {

    private final CommandListener listener;

    CommandCallback(CommandListener listener) {
        this.listener = listener;
    }

    @Override
    public Object apply(Object argument) {
        byte caller = 0;
        boolean interrupted = InterruptFlag.beginCommand();
        try {
            byte[] command = (byte[]) argument;
            if (command == null || command.length < CommandHeader.SIZE) {
                return Receiver.sendCommand(command);
            }
            caller = command[CommandHeader.CALLING_RUNTIME];
            if (CommandHeader.typeOf(command) == CommandHeader.TYPE_HEART_BEAT) {
                return Receiver.heartBeat(command);
            }
            return checked(caller, listener.onCommand(command));
        } catch (Throwable failure) {
            return Answers.failure(caller, failure);
        } finally {
            InterruptFlag.endCommand(interrupted);
        }
    }

    private byte[] checked(byte caller, byte[] reply) {
        if (reply != null && reply.length >= CommandHeader.SIZE) {
            return reply;
        }
        String returned = reply == null ? "null" : reply.length + " bytes";
        return Answers.refusal(caller, "The command listener (" + listener.getClass().getName()
                + ") returned " + returned + " instead of a reply, which has a header of 11 bytes.");
    }
}
