package com.ferrolink.core.transmitter;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.nio.file.Paths;

/** Finds the native library in the installation tree. */
final class InstallationTree {

    static final String LIBRARY = "Binaries/Native/Linux/X64/libFerrolinkJvmRuntimeNative.so";

    private static final String ADVICE = " Set the system property " + NativeLibrary.HOME_PROPERTY
            + " or the environment variable " + NativeLibrary.HOME_VARIABLE
            + " to the root of the installation, the directory with Binaries in it.";

    private InstallationTree() {
    }

    /**
     * The absolute path of an existing file.
     *
     * @param property the root that the system property names; null or empty if it is not set
     * @param variable the root that the environment variable names; null or empty if it is not set
     * @param archive the archive of this class; null if unknown
     */
    static Path findLibrary(String property, String variable, Path archive) {
        if (property != null && !property.isEmpty()) {
            return under(property, "the system property " + NativeLibrary.HOME_PROPERTY);
        }
        if (variable != null && !variable.isEmpty()) {
            return under(variable, "the environment variable " + NativeLibrary.HOME_VARIABLE);
        }
        if (archive == null) {
            throw failure("Cannot find the Ferrolink library: there is no telling where this program's"
                    + " archive lies." + ADVICE, null);
        }
        return besides(archive.toAbsolutePath());
    }

    static UnsatisfiedLinkError failure(String text, Throwable cause) {
        UnsatisfiedLinkError error = new UnsatisfiedLinkError(text);
        error.initCause(cause);
        return error;
    }

    private static Path under(String root, String origin) {
        Path library;
        try {
            library = Paths.get(root).toAbsolutePath().resolve(LIBRARY).normalize();
        } catch (InvalidPathException invalid) {
            throw failure("Cannot find the Ferrolink library: " + origin + " is no path: '" + root + "'.",
                    invalid);
        }
        if (!Files.isRegularFile(library)) {
            throw failure("Cannot find the Ferrolink library " + library + ". Its root was named by "
                    + origin + ", which has to be the directory with Binaries in it.", null);
        }
        return library;
    }

    /** If the archive is a link, the link or its target may lie in an installation. */
    private static Path besides(Path archive) {
        Path named = fromArchive(archive);
        if (Files.isRegularFile(named)) {
            return named;
        }
        Path resolved = fromArchive(realPath(archive));
        if (Files.isRegularFile(resolved)) {
            return resolved;
        }
        throw failure("Cannot find the Ferrolink library " + resolved + ", where it would be if the"
                + " archive " + archive + " lay in an installation." + ADVICE, null);
    }

    private static Path fromArchive(Path archive) {
        return archive.resolve("../../..").resolve(LIBRARY).normalize();
    }

    private static Path realPath(Path path) {
        try {
            return path.toRealPath();
        } catch (IOException missing) {
            return path;
        }
    }
}
