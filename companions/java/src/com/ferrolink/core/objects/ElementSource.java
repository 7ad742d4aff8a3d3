package com.ferrolink.core.objects;

import java.lang.reflect.Array;
import java.util.Enumeration;
import java.util.Iterator;
import java.util.Map;
import java.util.NoSuchElementException;
import java.util.stream.BaseStream;

/**
 * An iterator over the elements of an object. If the iteration fails after some elements of a fetch, it
 * keeps the failure for the next fetch, so that neither is lost. As thread-safe as the object.
 */
final class ElementSource implements Iterator<Object> {

    private final Iterator<?> elements;
    /** Null if there is none. */
    private Throwable failure;

    private ElementSource(Iterator<?> elements) {
        this.elements = elements;
    }

    /** @throws Refusal for an object that has no elements */
    static ElementSource of(Object object) {
        if (object instanceof ElementSource) {
            return (ElementSource) object;
        }
        return new ElementSource(iterator(object));
    }

    private static Iterator<?> iterator(Object object) {
        if (object instanceof Iterable) {
            return ((Iterable<?>) object).iterator();
        }
        if (object instanceof Iterator) {
            return (Iterator<?>) object;
        }
        if (object instanceof Map) {
            return ((Map<?, ?>) object).entrySet().iterator();
        }
        if (object instanceof BaseStream) {
            return ((BaseStream<?, ?>) object).iterator();
        }
        if (object instanceof Enumeration) {
            return new Enumerated((Enumeration<?>) object);
        }
        if (object.getClass().isArray()) {
            return new Indexed(object);
        }
        throw new Refusal(Refusal.NO_CONVERSION, Signature.of(object.getClass())
                + " has no elements: it is no Iterable, Iterator, array, Map, Stream or Enumeration.");
    }

    /** Keeps a failure for the next fetch. */
    void postpone(Throwable later) {
        failure = later;
    }

    /** Returns and forgets the kept failure; null if there is none. */
    Throwable takeFailure() {
        Throwable taken = failure;
        failure = null;
        return taken;
    }

    @Override
    public boolean hasNext() {
        return elements.hasNext();
    }

    @Override
    public Object next() {
        return elements.next();
    }

    private static final class Enumerated implements Iterator<Object> {
        private final Enumeration<?> source;

        Enumerated(Enumeration<?> source) {
            this.source = source;
        }

        @Override
        public boolean hasNext() {
            return source.hasMoreElements();
        }

        @Override
        public Object next() {
            return source.nextElement();
        }
    }

    private static final class Indexed implements Iterator<Object> {
        private final Object array;
        private int index;

        Indexed(Object array) {
            this.array = array;
        }

        @Override
        public boolean hasNext() {
            return index < Array.getLength(array);
        }

        @Override
        public Object next() {
            if (!hasNext()) {
                throw new NoSuchElementException();
            }
            return Array.get(array, index++);
        }
    }
}
