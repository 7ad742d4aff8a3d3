package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.CopyOnWriteArrayList;

/**
 * The handlers by name, and the problems of those that are not available. Handlers are added and never
 * removed. Thread-safe; reading takes no lock.
 */
final class HandlerRegistry {

    private final HandlerTable handlers = new HandlerTable();
    private final Set<Class<?>> classes = ConcurrentHashMap.newKeySet();
    private final CopyOnWriteArrayList<String> problems = new CopyOnWriteArrayList<>();

    /** The handler whose name in UTF-8 is in that part of the array; null if there is none. */
    RegisteredHandler find(byte[] bytes, int start, int size) {
        return handlers.find(bytes, start, size);
    }

    /** Whether an object of exactly this class was offered before. */
    boolean isKnown(Class<?> type) {
        return classes.contains(type);
    }

    /**
     * Makes a handler available under its name. A name that is invalid or taken is noted as a problem.
     *
     * @return the name; null if the handler is not available
     */
    String register(CommandHandler handler) {
        classes.add(handler.getClass());
        String origin = RegisteredHandler.origin(handler.getClass());
        String name = handler.name();
        if (name == null || name.isEmpty()) {
            noteProblem(origin + ": its name is " + (name == null ? "null." : "empty."));
            return null;
        }
        byte[] bytes = name.getBytes(StandardCharsets.UTF_8);
        if (bytes.length > CommandHeader.LONGEST_NAME) {
            noteProblem(origin + ": its name has " + bytes.length + " bytes, at most "
                    + CommandHeader.LONGEST_NAME + " are possible.");
            return null;
        }
        RegisteredHandler first = handlers.putIfAbsent(bytes, new RegisteredHandler(name, handler));
        if (first != null) {
            noteProblem(origin + ": its name '" + name + "' is taken by " + first.origin() + ".");
            return null;
        }
        return name;
    }

    void noteProblem(String problem) {
        problems.addIfAbsent(problem);
    }

    /** All names in alphabetical order. */
    List<String> names() {
        return new ArrayList<>(new TreeSet<>(handlers.names()));
    }

    /** One line with the reason for each handler, or list of handlers, that is not available. */
    List<String> problems() {
        return problems;
    }
}
