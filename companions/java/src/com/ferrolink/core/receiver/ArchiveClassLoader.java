package com.ferrolink.core.receiver;

import java.net.URL;
import java.net.URLClassLoader;

/** The loader of all archives that are added after the JVM's start. It is never closed. */
final class ArchiveClassLoader extends URLClassLoader {

    static {
        registerAsParallelCapable();
    }

    ArchiveClassLoader(ClassLoader parent) {
        super(new URL[0], parent);
    }

    @Override
    protected void addURL(URL archive) {
        super.addURL(archive);
    }
}
