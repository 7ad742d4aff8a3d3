package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

@DisplayName("The runtime information")
final class RuntimeInfoTest {

    @TempDir
    private Path directory;

    private static String property(String name) {
        return System.getProperty(name);
    }

    @Test
    @DisplayName("describes this JVM in lines that all end with a line feed")
    void everything() {
        String[] lines = Receiver.getRuntimeInfo().split("\n", -1);
        assertEquals(8, lines.length);
        assertEquals("Java version: " + property("java.version") + " (" + property("java.vendor") + ")",
                lines[0]);
        assertEquals("Java VM: " + property("java.vm.name") + " " + property("java.vm.version"),
                lines[1]);
        assertTrue(lines[2].startsWith("Garbage collectors: "), lines[2]);
        assertEquals("Class path: " + property("java.class.path"), lines[4]);
        assertEquals("Archives added later: none", lines[5]);
        assertEquals("Handlers: digest, echo, load-archives, objects", lines[6]);
        assertEquals("", lines[7]);
    }

    @Test
    @DisplayName("gives the sizes of the heap in MiB")
    void heap() throws IOException, InterruptedException {
        String heap = ChildJvm.run(directory, List.of("-Xms64m", "-Xmx64m", "-XX:+UseG1GC"), List.of(),
                InfoProgram.class).split("\n")[3];
        assertTrue(heap.matches("Heap used: ([0-9]|[1-5][0-9]) MiB, committed: 64 MiB, maximum: 64 MiB"),
                heap);
    }

    @ParameterizedTest
    @CsvSource({"UseG1GC, G1", "UseZGC, Z", "UseSerialGC, 'Copy, MarkSweepCompact'"})
    @DisplayName("names the garbage collector")
    void collectors(String option, String names) throws IOException, InterruptedException {
        String info = ChildJvm.run(directory, List.of("-XX:+" + option), List.of(), InfoProgram.class);
        assertEquals("Garbage collectors: " + names, info.split("\n")[2]);
    }

    @Test
    @DisplayName("tells a collector by its threads where these are plain")
    void collectorsThreads() {
        assertEquals("G1", GarbageCollectors.collectorOf("G1 Main Marker"));
        assertEquals("Z", GarbageCollectors.collectorOf("ZDirector"));
        assertEquals("Z", GarbageCollectors.collectorOf("XDirector"));
        assertEquals("Shenandoah", GarbageCollectors.collectorOf("Shenandoah GC T"));
        assertNull(GarbageCollectors.collectorOf("GC Thread#0"));
        assertNull(GarbageCollectors.collectorOf(""));
    }

    @Test
    @DisplayName("does without the module java.management")
    void trimmedRuntime() throws IOException, InterruptedException {
        String info = ChildJvm.run(directory,
                List.of("-XX:+UseSerialGC", "--limit-modules", "java.base"), List.of(),
                InfoProgram.class);
        assertEquals("Garbage collectors: unknown, this Java runtime lacks the module java.management",
                info.split("\n")[2]);
        assertTrue(info.endsWith("\nHandlers: digest, echo, load-archives, objects\n"), info);
    }

    @Test
    @DisplayName("lists archives added later and handlers that are not available")
    void additions() throws IOException {
        CommandDispatcher dispatcher = new CommandDispatcher(getClass().getClassLoader());
        Path archive = new ArchiveBuilder(directory).handler("Mine", "mine", "return payload;")
                .provider("Missing").write(directory.resolve("mine.jar"));
        dispatcher.answer(Commands.call("load-archives", archive.toString()));
        String info = dispatcher.describe();
        assertTrue(info.endsWith("\nArchives added later:\n  " + archive + "\n"
                + "Handlers: digest, echo, load-archives, mine, objects\n"
                + "Handlers not available:\n  Missing: java.util.ServiceConfigurationError:"
                + " com.ferrolink.core.receiver.CommandHandler: Provider Missing not found\n"), info);
    }

    /** Prints the information. */
    static final class InfoProgram {

        private InfoProgram() {
        }

        public static void main(String[] arguments) {
            System.out.print(Receiver.getRuntimeInfo());
        }
    }
}
