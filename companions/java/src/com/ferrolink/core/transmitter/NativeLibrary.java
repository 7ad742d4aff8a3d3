package com.ferrolink.core.transmitter;

import java.net.URISyntaxException;
import java.nio.file.FileSystemNotFoundException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.security.CodeSource;

/**
 * Loads the native library of the installation, {@code
 * Binaries/Native/Linux/X64/libFerrolinkJvmRuntimeNative.so} below its root. The root is the first of
 * these that is set: the system property {@code ferrolink.home}, the environment variable {@code
 * FERROLINK_HOME}, and the directory two levels above {@code Binaries/Jvm}, which has the archive of this
 * class. If neither is set and the archive lies elsewhere, the roots of the system are searched:
 * {@code /usr/lib/ferrolink}, {@code /usr/local/lib/ferrolink}.
 *
 * <p><b>Threads:</b> thread-safe.
 */
public final class NativeLibrary {

    /** The system property that names the installation's root. */
    public static final String HOME_PROPERTY = "ferrolink.home";

    /** The environment variable that names the installation's root. */
    public static final String HOME_VARIABLE = "FERROLINK_HOME";

    private static boolean loaded;

    private NativeLibrary() {
    }

    /**
     * Loads the library. Idempotent. If a native host of this process loaded the same file, the library
     * is shared, not loaded twice.
     *
     * @throws UnsatisfiedLinkError if it cannot be found or loaded; the message has the file, the reason
     *     and what to do. The next call tries again.
     */
    public static synchronized void load() {
        if (loaded) {
            return;
        }
        Path file = InstallationTree.findLibrary(System.getProperty(HOME_PROPERTY),
                System.getenv(HOME_VARIABLE), archive(), InstallationTree.OF_THE_SYSTEM);
        try {
            System.load(file.toString());
        } catch (UnsatisfiedLinkError refused) {
            throw InstallationTree.failure("Cannot load the Ferrolink library " + file + ": "
                    + refused.getMessage() + ". It needs Linux on x86-64 and its companion libraries"
                    + " beside it, and one class loader of a JVM can load it: put the archive on the"
                    + " class path of the loader that all parts of the program share.", refused);
        }
        loaded = true;
    }

    /** Null if the class comes from no file, or from inside another archive. */
    private static Path archive() {
        CodeSource source = NativeLibrary.class.getProtectionDomain().getCodeSource();
        if (source == null || source.getLocation() == null) {
            return null;
        }
        try {
            return Paths.get(source.getLocation().toURI());
        } catch (URISyntaxException | IllegalArgumentException | FileSystemNotFoundException other) {
            return null;
        }
    }
}
