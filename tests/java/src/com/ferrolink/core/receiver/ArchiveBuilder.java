package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Set;
import java.util.jar.JarEntry;
import java.util.jar.JarOutputStream;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import javax.tools.JavaCompiler;
import javax.tools.StandardJavaFileManager;
import javax.tools.ToolProvider;

/** Writes archives with handlers that are compiled for the occasion. */
final class ArchiveBuilder {

    static final String SERVICE = "META-INF/services/com.ferrolink.core.receiver.CommandHandler";

    private final Path workspace;
    private final List<Path> sources = new ArrayList<>();
    private final List<String> providers = new ArrayList<>();
    private final Set<String> leftOut = new LinkedHashSet<>();

    ArchiveBuilder(Path temporaryDirectory) throws IOException {
        workspace = Files.createTempDirectory(temporaryDirectory, "build");
    }

    /** A handler of the default package whose {@code handle} has the given body. */
    ArchiveBuilder handler(String type, String name, String body) throws IOException {
        return provider(type).source(type, "public final class " + type + " implements"
                + " com.ferrolink.core.receiver.CommandHandler { public String name() { return \"" + name
                + "\"; } public byte[] handle(byte[] payload) throws Exception { " + body + " } }");
    }

    ArchiveBuilder source(String type, String code) throws IOException {
        Path file = workspace.resolve(type + ".java");
        Files.writeString(file, code);
        sources.add(file);
        return this;
    }

    /** Adds a line to the list of providers, whether or not there is such a class. */
    ArchiveBuilder provider(String line) {
        providers.add(line);
        return this;
    }

    /** Compiles against a class that the archive does not contain. */
    ArchiveBuilder leaveOut(String type) {
        leftOut.add(type + ".class");
        return this;
    }

    Path write(Path archive) throws IOException {
        Path classes = Files.createDirectories(workspace.resolve("classes"));
        if (!sources.isEmpty()) {
            compile(classes);
        }
        try (JarOutputStream jar = new JarOutputStream(Files.newOutputStream(archive));
                Stream<Path> files = Files.list(classes)) {
            jar.putNextEntry(new JarEntry(SERVICE));
            jar.write(Commands.utf8(String.join("\n", providers) + "\n"));
            for (Path file : files.collect(Collectors.toList())) {
                String name = file.getFileName().toString();
                if (!leftOut.contains(name)) {
                    jar.putNextEntry(new JarEntry(name));
                    jar.write(Files.readAllBytes(file));
                }
            }
        }
        return archive.toRealPath();
    }

    private void compile(Path classes) throws IOException {
        JavaCompiler compiler = ToolProvider.getSystemJavaCompiler();
        try (StandardJavaFileManager files = compiler.getStandardFileManager(null, null, null)) {
            List<String> options = List.of("-proc:none", "-d", classes.toString(), "-classpath",
                    System.getProperty("java.class.path"));
            assertTrue(compiler.getTask(null, files, null, options, null,
                    files.getJavaFileObjectsFromFiles(
                            sources.stream().map(Path::toFile).collect(Collectors.toList()))).call());
        }
    }
}
