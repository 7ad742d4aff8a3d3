package com.ferrolink.core.receiver;

import java.io.IOException;
import java.net.MalformedURLException;
import java.net.URL;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashSet;
import java.util.Iterator;
import java.util.List;
import java.util.ServiceConfigurationError;
import java.util.ServiceLoader;
import java.util.Set;
import java.util.concurrent.CopyOnWriteArrayList;

/**
 * Finds handlers and registers them: first those on the class path, later those in archives that are
 * added. If a provider cannot be loaded, the registry notes it, and the others are still found.
 *
 * <p>Thread-safe. One lock covers all searches. It is held while constructors of handlers run; they may
 * send commands and add archives on the same thread.
 */
final class HandlerDiscovery {

    private static final String LISTS = "META-INF/services/" + CommandHandler.class.getName();

    /** Ends a search whose ServiceLoader fails again and again without progress. */
    private static final int MAXIMUM_FAILURES = 1000;

    private final HandlerRegistry registry;
    private final ClassLoader classPathLoader;
    private final ArchiveClassLoader archiveLoader;
    private final CopyOnWriteArrayList<Path> archives = new CopyOnWriteArrayList<>();
    private final Set<String> readLists = new HashSet<>();
    private boolean classPathSearchBegun;
    private volatile boolean classPathSearched;

    HandlerDiscovery(HandlerRegistry registry, ClassLoader classPathLoader) {
        this.registry = registry;
        this.classPathLoader = classPathLoader;
        this.archiveLoader = new ArchiveClassLoader(classPathLoader);
    }

    /**
     * Searches the class path, if that was not done yet. Not done at start-up: it runs constructors of
     * handlers, which may use the receiver.
     */
    void searchClassPath() {
        if (classPathSearched) {
            return;
        }
        synchronized (this) {
            if (!classPathSearchBegun) {
                classPathSearchBegun = true;
                search(classPathLoader, classPathLoader);
                classPathSearched = true;
            }
        }
    }

    /**
     * Adds an archive, or all archives of a directory. Known archives are skipped.
     *
     * @return the names of the handlers that this call made available, in the order of discovery
     * @throws CommandRejectedException if the path is unusable; then nothing was added
     */
    List<String> addArchives(String path) throws CommandRejectedException {
        searchClassPath();
        List<Path> candidates = ArchivePaths.resolve(path);
        synchronized (this) {
            candidates = onlyNew(candidates);
            if (candidates.isEmpty()) {
                return Collections.emptyList();
            }
            for (Path archive : candidates) {
                archiveLoader.addURL(urlOf(archive));
                archives.add(archive);
            }
            return search(null, archiveLoader);
        }
    }

    /** The archives added so far, in the order of addition. */
    List<Path> addedArchives() {
        return archives;
    }

    /** What finds all classes that there are: the loader of added archives once there are some. */
    ClassLoader loader() {
        return archives.isEmpty() ? classPathLoader : archiveLoader;
    }

    private List<Path> onlyNew(List<Path> candidates) {
        Set<Path> known = ArchivePaths.classPath();
        known.addAll(archives);
        List<Path> added = new ArrayList<>();
        for (Path archive : candidates) {
            if (known.add(archive)) {
                added.add(archive);
            }
        }
        return added;
    }

    private static URL urlOf(Path archive) {
        try {
            return archive.toUri().toURL();
        } catch (MalformedURLException impossible) {
            throw new IllegalStateException("No URL for " + archive, impossible);
        }
    }

    private List<String> search(ClassLoader moduleLoader, ClassLoader loader) {
        Thread thread = Thread.currentThread();
        ClassLoader previous = thread.getContextClassLoader();
        thread.setContextClassLoader(loader);
        try {
            ProviderView view =
                    new ProviderView(moduleLoader, loader, LISTS, unreadLists(loader), registry);
            return registerAll(view);
        } finally {
            thread.setContextClassLoader(previous);
        }
    }

    private List<URL> unreadLists(ClassLoader loader) {
        List<URL> unread = new ArrayList<>();
        try {
            for (URL list : Collections.list(loader.getResources(LISTS))) {
                if (readLists.add(list.toExternalForm())) {
                    unread.add(list);
                }
            }
        } catch (IOException failure) {
            registry.noteProblem("Handlers cannot be looked up: " + ExceptionReport.summary(failure));
        }
        return unread;
    }

    private List<String> registerAll(ProviderView view) {
        List<String> names = new ArrayList<>();
        Iterator<CommandHandler> providers = ServiceLoader.load(CommandHandler.class, view).iterator();
        int failures = 0;
        while (failures < MAXIMUM_FAILURES) {
            view.takeLastProvider();
            try {
                if (!providers.hasNext()) {
                    break;
                }
                String name = registry.register(providers.next());
                if (name != null) {
                    names.add(name);
                }
                failures = 0;
            } catch (Throwable failure) {
                failures++;
                registry.noteProblem(describe(view.takeLastProvider(), failure));
            }
        }
        return names;
    }

    private static String describe(String provider, Throwable failure) {
        if (provider == null) {
            return ExceptionReport.summary(failure);
        }
        if (failure instanceof ProviderView.KnownProviderError) {
            return provider + ": " + failure.getMessage() + ".";
        }
        boolean wrapped = failure instanceof ServiceConfigurationError && failure.getCause() != null;
        return provider + ": " + ExceptionReport.summary(wrapped ? failure.getCause() : failure);
    }
}
