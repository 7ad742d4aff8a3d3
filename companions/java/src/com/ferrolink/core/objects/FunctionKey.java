package com.ferrolink.core.objects;

import java.util.Arrays;

/** Identifies a proxy: a function of the C++ member, and the interfaces that the proxy implements. */
final class FunctionKey {

    private final String handler;
    private final long id;
    private final Class<?>[] interfaces;

    /** @param handler the name of the handler that calls the function; empty for the usual one */
    FunctionKey(String handler, long id, Class<?>[] interfaces) {
        this.handler = handler.isEmpty() ? ObjectBroker.HANDLER : handler;
        this.id = id;
        this.interfaces = interfaces;
    }

    String handler() {
        return handler;
    }

    long id() {
        return id;
    }

    Class<?>[] interfaces() {
        return interfaces;
    }

    @Override
    public boolean equals(Object other) {
        if (!(other instanceof FunctionKey)) {
            return false;
        }
        FunctionKey that = (FunctionKey) other;
        return id == that.id && handler.equals(that.handler) && Arrays.equals(interfaces, that.interfaces);
    }

    @Override
    public int hashCode() {
        return 31 * Long.hashCode(id) + handler.hashCode();
    }

    @Override
    public String toString() {
        StringBuilder text = new StringBuilder();
        for (Class<?> each : interfaces) {
            text.append(text.length() == 0 ? "" : ", ").append(each.getTypeName());
        }
        return text.append(" by C++ function ").append(id).toString();
    }
}
