package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

/** Runs a program of the tests in a JVM of its own, with nothing but the archive on its class path. */
final class ChildJvm {

    private static final long LIMIT_SECONDS = 120;

    private ChildJvm() {
    }

    /**
     * Runs a program and returns its standard output. The program must end by itself, without an error.
     */
    static String run(Path directory, List<String> options, List<Path> classPath, Class<?> program)
            throws IOException, InterruptedException {
        List<String> command = new ArrayList<>();
        command.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
        command.addAll(options);
        command.add("-cp");
        command.add(join(classPath));
        command.add(program.getName());
        Path output = Files.createTempFile(directory, "child", ".out");
        Path errors = Files.createTempFile(directory, "child", ".err");
        Process child = new ProcessBuilder(command).redirectOutput(output.toFile())
                .redirectError(errors.toFile()).start();
        try {
            assertTrue(child.waitFor(LIMIT_SECONDS, TimeUnit.SECONDS), "the child goes on for ever");
            assertEquals(0, child.exitValue(), Files.readString(errors));
        } finally {
            child.destroyForcibly();
        }
        return Files.readString(output, StandardCharsets.UTF_8);
    }

    private static String join(List<Path> additions) {
        StringBuilder classPath = new StringBuilder(ClassPaths.originOf(Receiver.class));
        classPath.append(File.pathSeparator).append(ClassPaths.originOf(ChildJvm.class));
        for (Path addition : additions) {
            classPath.append(File.pathSeparator).append(addition);
        }
        return classPath.toString();
    }
}
