package com.ferrolink.core.receiver;

/**
 * A command that cannot be served, for a reason that its sender can do something about. The message
 * is the whole reply text: it comes without class name and frames, which would say nothing more.
 */
final class CommandRejectedException extends Exception {

    private static final long serialVersionUID = 1L;

    CommandRejectedException(String text) {
        super(text, null, false, false);
    }
}
