package com.ferrolink.core.objects;

/** A reply that reports a refusal (status 2). */
final class Refused extends RuntimeException {
    private static final long serialVersionUID = 1L;
    final int kind;

    Refused(WireReader wire) {
        super(wire.text());
        kind = wire.u8();
        wire.requireEnd();
    }
}
