package com.ferrolink.core.receiver;

import java.io.IOException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.stream.Collectors;

/** Class loaders that stand for the class path that a JVM was started with. */
final class ClassPaths {

    private ClassPaths() {
    }

    /** Classes of the tests, listed as providers. */
    static ClassLoader listing(Path directory, Class<?>... providers) throws IOException {
        Path list = directory.resolve(ArchiveBuilder.SERVICE);
        Files.createDirectories(list.getParent());
        Files.write(list, Arrays.stream(providers).map(Class::getName).collect(Collectors.toList()));
        return of(directory);
    }

    static ClassLoader of(Path... entries) throws IOException {
        URL[] urls = new URL[entries.length];
        for (int index = 0; index < urls.length; index++) {
            urls[index] = entries[index].toUri().toURL();
        }
        return new URLClassLoader(urls, ClassPaths.class.getClassLoader());
    }

    /** The directory or archive that a class comes from. */
    static String originOf(Class<?> type) {
        return type.getProtectionDomain().getCodeSource().getLocation().getPath();
    }
}
