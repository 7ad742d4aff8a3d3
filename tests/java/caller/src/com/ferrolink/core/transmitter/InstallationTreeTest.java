package com.ferrolink.core.transmitter;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

@DisplayName("The native library")
final class InstallationTreeTest {

    private static final String ADVICE = " Set the system property ferrolink.home or the environment"
            + " variable FERROLINK_HOME to the root of the installation, the directory with Binaries in"
            + " it.";

    private static final List<Path> NO_SYSTEM = Collections.emptyList();

    @TempDir
    private Path temporary;
    private Path directory;

    @BeforeEach
    void resolve() throws IOException {
        directory = temporary.toRealPath();
    }

    private Path install(String root) throws IOException {
        Path library = directory.resolve(root).resolve(InstallationTree.LIBRARY);
        Files.createDirectories(library.getParent());
        Files.createDirectories(archiveOf(root).getParent());
        Files.createFile(archiveOf(root));
        return Files.createFile(library);
    }

    private Path archiveOf(String root) {
        return directory.resolve(root).resolve("Binaries/Jvm/FerrolinkJvmRuntime.jar");
    }

    private String root(String root) {
        return directory.resolve(root).toString();
    }

    private static Path find(String property, String variable, Path archive) {
        return InstallationTree.findLibrary(property, variable, archive, NO_SYSTEM);
    }

    private static String failure(String property, String variable, Path archive) {
        return assertThrows(UnsatisfiedLinkError.class,
                () -> find(property, variable, archive)).getMessage();
    }

    @Test
    @DisplayName("is found from the archive, whatever the directory is called")
    void fromArchive() throws IOException {
        Path library = install("a ü%20b");
        assertEquals(library, find(null, null, archiveOf("a ü%20b")));
        assertEquals(library, find("", "", archiveOf("a ü%20b")));
    }

    @Test
    @DisplayName("is found from a link to the archive")
    void fromLink() throws IOException {
        Path library = install("one");
        Path link = Files.createSymbolicLink(directory.resolve("link.jar"), archiveOf("one"));
        assertEquals(library, find(null, null, link));
    }

    @Test
    @DisplayName("is found beside an archive that is a link itself")
    void besideLink() throws IOException {
        Path library = install("one");
        Path elsewhere = Files.createFile(directory.resolve("elsewhere.jar"));
        Files.delete(archiveOf("one"));
        Files.createSymbolicLink(archiveOf("one"), elsewhere);
        assertEquals(library, find(null, null, archiveOf("one")));
    }

    @Test
    @DisplayName("is taken from the property, then the variable, then the archive's installation")
    void order() throws IOException {
        Path one = install("one");
        Path two = install("two");
        install("three");
        Path archive = archiveOf("three");
        assertEquals(one, find(root("one"), root("two"), archive));
        assertEquals(two, find(null, root("two"), archive));
        assertEquals(two, find("", root("two") + "/../two/", archive));
    }

    @Test
    @DisplayName("is not looked for elsewhere if the root that was named lacks it")
    void namedRootLacksIt() throws IOException {
        install("one");
        String missing = root("none") + "/" + InstallationTree.LIBRARY;
        assertEquals("Cannot find the Ferrolink library " + missing + ". Its root was named by the system"
                + " property ferrolink.home, which has to be the directory with Binaries in it.",
                failure(root("none"), root("one"), archiveOf("one")));
        assertEquals("Cannot find the Ferrolink library " + missing + ". Its root was named by the"
                + " environment variable FERROLINK_HOME, which has to be the directory with Binaries in"
                + " it.", failure(null, root("none"), archiveOf("one")));
    }

    @Test
    @DisplayName("is searched by an absolute path, whatever the root is")
    void relativeRoot() {
        Path expected = Path.of("").toAbsolutePath().resolve("none").resolve(InstallationTree.LIBRARY);
        assertEquals("Cannot find the Ferrolink library " + expected + ". Its root was named by the system"
                + " property ferrolink.home, which has to be the directory with Binaries in it.",
                failure("none", null, null));
        assertEquals("Cannot find the Ferrolink library: the system property ferrolink.home is no path:"
                + " 'a\0b'.", failure("a\0b", null, null));
    }

    @Test
    @DisplayName("that is not there is reported with where it would be and what to do")
    void missing() throws IOException {
        Path archive = Files.createFile(directory.resolve("some.jar"));
        Path expected = directory.resolve("../..").resolve(InstallationTree.LIBRARY).normalize();
        assertEquals("Cannot find the Ferrolink library " + expected + ", where it would be if the"
                + " archive " + archive + " lay in an installation." + ADVICE,
                failure(null, null, archive));
        assertEquals("Cannot find the Ferrolink library: there is no telling where this program's"
                + " archive lies." + ADVICE, failure(null, null, null));
    }

    @Test
    @DisplayName("is taken from the first installation of the system that has it, if the archive lies in none")
    void ofTheSystem() throws IOException {
        List<Path> system = Arrays.asList(directory.resolve("none"), directory.resolve("two"),
                directory.resolve("three"));
        Path one = install("one");
        Path two = install("two");
        install("three");
        Path archive = Files.createFile(directory.resolve("some.jar"));
        assertEquals(two, InstallationTree.findLibrary(null, null, archive, system));
        assertEquals(two, InstallationTree.findLibrary(null, null, null, system));
        assertEquals(one, InstallationTree.findLibrary(null, null, archiveOf("one"), system));
        assertEquals(one, InstallationTree.findLibrary(null, root("one"), archive, system));
    }

    @Test
    @DisplayName("that no installation of the system has is reported with their roots")
    void notInTheSystem() {
        String text = assertThrows(UnsatisfiedLinkError.class, () -> InstallationTree.findLibrary(null, null,
                null, Arrays.asList(directory.resolve("x"), directory.resolve("y")))).getMessage();
        assertEquals("Cannot find the Ferrolink library: there is no telling where this program's archive"
                + " lies. Nor is it below " + root("x") + " or " + root("y") + "." + ADVICE, text);
        assertEquals("[/usr/lib/ferrolink, /usr/local/lib/ferrolink]",
                InstallationTree.OF_THE_SYSTEM.toString());
    }
}
