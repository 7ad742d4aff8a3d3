package com.ferrolink.core.objects;

import java.util.ArrayList;
import java.util.List;

/** A reply that reports a Java exception (status 1). */
final class ThrownInJava extends RuntimeException {
    private static final long serialVersionUID = 1L;
    final transient Handle throwable;
    final String type;
    /** Null if the exception has no message. */
    final String message;
    final String report;
    final transient List<String> supertypes = new ArrayList<>();

    ThrownInJava(WireReader wire) {
        throwable = new Handle(wire.i64(), wire.i32());
        type = wire.text();
        String text = wire.text();
        message = wire.u8() == 1 ? text : null;
        report = wire.text();
        int count = wire.i32();
        for (int index = 0; index < count; index++) {
            supertypes.add(wire.text());
        }
        wire.requireEnd();
    }

    @Override
    public String getMessage() {
        return type + ": " + message;
    }
}
