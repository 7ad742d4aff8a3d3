package com.ferrolink.core.objects;

import java.util.LinkedHashSet;
import java.util.Set;
import java.util.function.Function;

/** Writes the replies to requests that failed. */
final class FailureReply {

    static final int SUCCESS = 0;
    static final int THROWN = 1;
    static final int REFUSED = 2;

    private FailureReply() {
    }

    static void refusal(WireWriter wire, Refusal refusal) {
        wire.u8(REFUSED).text(refusal.getMessage()).u8(refusal.kind());
    }

    /** @param report describes the exception with all its causes */
    static void thrown(ValueWriter out, Throwable failure, Function<Throwable, String> report) {
        WireWriter wire = out.wire().u8(THROWN);
        out.handle(failure);
        Class<?> type = failure.getClass();
        String message = messageOf(failure);
        wire.i32(ClassIds.of(type)).text(type.getName()).text(message == null ? "" : message)
                .u8(message == null ? 0 : 1).text(report.apply(failure));
        Set<Class<?>> supertypes = new LinkedHashSet<>();
        addSupertypes(type, supertypes);
        wire.i32(supertypes.size());
        for (Class<?> supertype : supertypes) {
            wire.text(supertype.getName());
        }
    }

    /** The methods of a program's exception may throw. */
    private static String messageOf(Throwable failure) {
        try {
            return failure.getMessage();
        } catch (Throwable broken) {
            return null;
        }
    }

    private static void addSupertypes(Class<?> type, Set<Class<?>> found) {
        Class<?> superclass = type.getSuperclass();
        if (superclass != null && found.add(superclass)) {
            addSupertypes(superclass, found);
        }
        for (Class<?> each : type.getInterfaces()) {
            if (found.add(each)) {
                addSupertypes(each, found);
            }
        }
    }
}
