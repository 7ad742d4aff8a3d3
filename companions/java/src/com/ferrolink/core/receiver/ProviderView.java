package com.ferrolink.core.receiver;

import java.io.IOException;
import java.net.URL;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Enumeration;
import java.util.List;

/**
 * A ServiceLoader's view of a class loader: it shows the given lists of providers only, so that known
 * providers are not instantiated again. Remembers the provider that was requested last: errors of
 * loading may not name it. For one search on one thread.
 */
final class ProviderView extends ClassLoader {

    /** Thrown instead of returning a class whose handler exists already. */
    static final class KnownProviderError extends LinkageError {

        private static final long serialVersionUID = 1L;

        KnownProviderError(Class<?> type) {
            super("the class is in use already, from " + RegisteredHandler.origin(type));
        }
    }

    private final ClassLoader classes;
    private final String resource;
    private final List<URL> lists;
    private final HandlerRegistry registry;
    private String lastProvider;

    /**
     * @param parent the loader whose named modules a ServiceLoader searches; null for none
     * @param classes the loader of the providers
     * @param resource the resource name of the lists of providers
     * @param lists the lists to show
     */
    ProviderView(ClassLoader parent, ClassLoader classes, String resource, List<URL> lists,
            HandlerRegistry registry) {
        super(parent);
        this.classes = classes;
        this.resource = resource;
        this.lists = new ArrayList<>(lists);
        this.registry = registry;
    }

    /** The provider that was requested since the last call of this method; null if none was. */
    String takeLastProvider() {
        String taken = lastProvider;
        lastProvider = null;
        return taken;
    }

    @Override
    public Enumeration<URL> getResources(String name) throws IOException {
        return name.equals(resource) ? Collections.enumeration(lists) : classes.getResources(name);
    }

    @Override
    protected Class<?> loadClass(String name, boolean resolve) throws ClassNotFoundException {
        lastProvider = name;
        Class<?> type = classes.loadClass(name);
        if (registry.isKnown(type)) {
            throw new KnownProviderError(type);
        }
        return type;
    }
}
