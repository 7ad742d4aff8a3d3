package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.IOException;
import java.net.URISyntaxException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;

/**
 * Runs a program of the tests in a JVM of its own, with the archive on its class path; what the native
 * library knows of a process cannot be undone.
 */
final class ChildProgram {

    private static final int FIRST_WITH_NATIVE_ACCESS = 24;
    private static final long LIMIT_SECONDS = 300;

    private final Path directory;
    private final Path archive;
    private final List<String> options = new ArrayList<>();

    /** The child's working directory holds what it prints, too. */
    ChildProgram(Path directory, Path archive) {
        this.directory = directory;
        this.archive = archive;
        if (Runtime.version().feature() >= FIRST_WITH_NATIVE_ACCESS) {
            options.add("--enable-native-access=ALL-UNNAMED");
        }
    }

    static Path originOf(Class<?> type) throws URISyntaxException {
        return Path.of(type.getProtectionDomain().getCodeSource().getLocation().toURI());
    }

    ChildProgram option(String option) {
        if (!option.isEmpty()) {
            options.add(option);
        }
        return this;
    }

    /**
     * Runs a program, which must succeed, and returns its output. Warnings of the JVM and the library
     * may be in the output.
     */
    String run(Class<?> program, String... arguments) throws Exception {
        List<String> command = new ArrayList<>();
        command.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
        command.addAll(options);
        command.add("-cp");
        command.add(archive + File.pathSeparator + originOf(program));
        command.add(program.getName());
        command.addAll(List.of(arguments));
        Path output = directory.resolve("output");
        ProcessBuilder builder = new ProcessBuilder(command).directory(directory.toFile())
                .redirectErrorStream(true).redirectOutput(output.toFile());
        prepare(builder.environment());
        return finish(builder.start(), output);
    }

    private static void prepare(Map<String, String> environment) {
        environment.keySet().removeIf(
                name -> name.startsWith("FERROLINK_") || name.startsWith("JAVA_TOOL")
                        || name.startsWith("JDK_JAVA"));
        environment.put("FERROLINK_LOGGING_LEVEL", "off");
    }

    private static String finish(Process child, Path output) throws IOException, InterruptedException {
        try {
            assertTrue(child.waitFor(LIMIT_SECONDS, TimeUnit.SECONDS), "the child goes on for ever");
            String printed = Files.readString(output);
            assertEquals(0, child.exitValue(), printed);
            return printed;
        } finally {
            child.destroyForcibly();
        }
    }
}
