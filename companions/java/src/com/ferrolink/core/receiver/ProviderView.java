package com.ferrolink.core.receiver;

import java.io.IOException;
import java.net.URL;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Enumeration;
import java.util.List;

/**
 * What a ServiceLoader gets to see of a class loader: the given lists of providers and no others, so
 * that providers which were found before are not instantiated again. Remembers the provider that was
 * asked for last, for an error while it is loaded need not name it. For one search on one thread.
 */
final class ProviderView extends ClassLoader {

    /** Thrown in place of handing out a class whose handler exists already. */
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
     * @param parent where a ServiceLoader looks for providers of named modules, null for nowhere
     * @param classes the loader of the providers
     * @param resource the name of the lists of providers
     * @param lists those of them to be seen
     */
    ProviderView(ClassLoader parent, ClassLoader classes, String resource, List<URL> lists,
            HandlerRegistry registry) {
        super(parent);
        this.classes = classes;
        this.resource = resource;
        this.lists = new ArrayList<>(lists);
        this.registry = registry;
    }

    /** The provider asked for since the last call of this method, null if none. */
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
