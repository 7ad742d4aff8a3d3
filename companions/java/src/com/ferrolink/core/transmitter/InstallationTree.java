package com.ferrolink.core.transmitter;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/** Finds the native library in the installation tree. */
final class InstallationTree {

    static final String LIBRARY = "Binaries/Native/Linux/X64/libFerrolinkJvmRuntimeNative.so";

    /** The roots of installations for all users, in the order of the search. The C++ helpers have the
     *  same. The first one's archive is a link to a file elsewhere, so it is not found from there. */
    static final List<Path> OF_THE_SYSTEM = Collections.unmodifiableList(
            Arrays.asList(Paths.get("/usr/lib/ferrolink"), Paths.get("/usr/local/lib/ferrolink")));

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
     * @param system the roots to search if none is named and the archive lies in none
     */
    static Path findLibrary(String property, String variable, Path archive, List<Path> system) {
        if (property != null && !property.isEmpty()) {
            return under(property, "the system property " + NativeLibrary.HOME_PROPERTY);
        }
        if (variable != null && !variable.isEmpty()) {
            return under(variable, "the environment variable " + NativeLibrary.HOME_VARIABLE);
        }
        Path besides = archive == null ? null : besides(archive.toAbsolutePath());
        if (besides != null && Files.isRegularFile(besides)) {
            return besides;
        }
        for (Path root : system) {
            Path library = root.resolve(LIBRARY);
            if (Files.isRegularFile(library)) {
                return library;
            }
        }
        throw failure("Cannot find the Ferrolink library" + (archive == null
                ? ": there is no telling where this program's archive lies"
                : " " + besides + ", where it would be if the archive " + archive.toAbsolutePath()
                        + " lay in an installation") + inNone(system) + ADVICE, null);
    }

    private static String inNone(List<Path> system) {
        StringBuilder roots = new StringBuilder();
        for (Path root : system) {
            roots.append(roots.length() == 0 ? ". Nor is it below " : " or ").append(root);
        }
        return roots.append('.').toString();
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

    /** Where the library should be. If the archive is a link, the link or its target may lie in an
     *  installation. */
    private static Path besides(Path archive) {
        Path named = fromArchive(archive);
        return Files.isRegularFile(named) ? named : fromArchive(realPath(archive));
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
