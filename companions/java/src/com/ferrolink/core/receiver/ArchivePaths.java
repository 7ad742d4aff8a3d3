package com.ferrolink.core.receiver;

import java.io.File;
import java.io.IOException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashSet;
import java.util.List;
import java.util.Locale;
import java.util.Set;
import java.util.jar.JarFile;

/** Finds the archives at a path. */
final class ArchivePaths {

    private ArchivePaths() {
    }

    /**
     * The real path of the archive, or for a directory those of its top-level {@code .jar} files
     * (case-insensitive) in alphabetical order. All of them can be opened.
     *
     * @throws CommandRejectedException if the path does not exist or a file is no archive
     */
    static List<Path> resolve(String text) throws CommandRejectedException {
        Path path = realPath(text);
        List<Path> archives = Collections.singletonList(path);
        if (Files.isDirectory(path)) {
            archives = listDirectory(path);
        }
        for (Path archive : archives) {
            requireArchive(archive);
        }
        return archives;
    }

    /** The real paths of the JVM's class path. */
    static Set<Path> classPath() {
        Set<Path> paths = new HashSet<>();
        for (String entry : System.getProperty("java.class.path", "").split(File.pathSeparator)) {
            try {
                paths.add(Paths.get(entry).toRealPath());
            } catch (IOException | InvalidPathException absent) {
                // The JVM ignores entries that do not exist.
            }
        }
        return paths;
    }

    private static Path realPath(String text) throws CommandRejectedException {
        if (text.isEmpty()) {
            throw new CommandRejectedException("Cannot find file: the path is empty. Send the path of"
                    + " an archive or of a directory with archives.");
        }
        Path path;
        try {
            path = Paths.get(text);
        } catch (InvalidPathException invalid) {
            throw new CommandRejectedException("Cannot find file: " + text + " (" + invalid.getReason()
                    + "). Paths with letters outside ASCII need a UTF-8 locale.");
        }
        try {
            return path.toRealPath();
        } catch (IOException missing) {
            throw new CommandRejectedException("Cannot find file: " + path.toAbsolutePath() + " ("
                    + missing.getClass().getSimpleName() + "). Check that the archive or directory"
                    + " exists and may be read by this process, or send its absolute path.");
        }
    }

    private static List<Path> listDirectory(Path directory) throws CommandRejectedException {
        List<Path> archives = new ArrayList<>();
        try (DirectoryStream<Path> entries = Files.newDirectoryStream(directory)) {
            for (Path entry : entries) {
                String name = entry.getFileName().toString().toLowerCase(Locale.ROOT);
                if (name.endsWith(".jar") && Files.isRegularFile(entry)) {
                    archives.add(entry.toRealPath());
                }
            }
        } catch (IOException | DirectoryIteratorException unreadable) {
            throw new CommandRejectedException("Cannot list directory: " + directory + " ("
                    + unreadable.getMessage() + "). Check that this process may read it.");
        }
        Collections.sort(archives);
        return archives;
    }

    /** A class loader would silently skip a broken archive, and block on a pipe. */
    private static void requireArchive(Path archive) throws CommandRejectedException {
        if (!Files.isRegularFile(archive)) {
            throw new CommandRejectedException("Cannot read archive: " + archive + " (neither a regular"
                    + " file nor a directory). Send the path of an archive or of a directory with"
                    + " archives; nothing was added.");
        }
        try {
            new JarFile(archive.toFile(), false).close();
        } catch (IOException broken) {
            throw new CommandRejectedException("Cannot read archive: " + archive + " ("
                    + broken.getMessage() + "). Check that it is a complete .jar file that this"
                    + " process may read; nothing was added.");
        }
    }
}
