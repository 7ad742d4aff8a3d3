package com.ferrolink.core.objects;

import java.util.Arrays;
import java.util.List;

/** An array whose elements are not primitive. */
final class Elements {
    final String component;
    final List<Object> values;

    Elements(String component, List<Object> values) {
        this.component = component;
        this.values = values;
    }

    @Override
    public String toString() {
        StringBuilder text = new StringBuilder(component).append('[');
        for (Object value : values) {
            text.append(text.charAt(text.length() - 1) == '[' ? "" : ", ").append(
                    value instanceof int[] ? Arrays.toString((int[]) value) : value);
        }
        return text.append(']').toString();
    }
}
