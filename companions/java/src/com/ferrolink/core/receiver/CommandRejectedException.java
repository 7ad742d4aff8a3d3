package com.ferrolink.core.receiver;

/**
 * A command that cannot be executed, for a reason that its sender can mend. The message is the whole
 * text of the reply: class name and frames would not help the sender.
 */
final class CommandRejectedException extends Exception {

    private static final long serialVersionUID = 1L;

    CommandRejectedException(String text) {
        super(text, null, false, false);
    }
}
