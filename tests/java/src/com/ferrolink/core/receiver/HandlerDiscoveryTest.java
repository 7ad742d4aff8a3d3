package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.atomic.AtomicInteger;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

@DisplayName("The search for handlers")
final class HandlerDiscoveryTest {

    @TempDir
    private Path directory;

    /** Counts its instances. */
    public static final class CountedHandler implements CommandHandler {

        static final AtomicInteger INSTANCES = new AtomicInteger();

        public CountedHandler() {
            INSTANCES.incrementAndGet();
        }

        @Override
        public String name() {
            return "counted";
        }

        @Override
        public byte[] handle(byte[] payload) {
            return payload;
        }
    }

    /** Uses the receiver while it is being instantiated. */
    public static final class EagerHandler implements CommandHandler {

        static CommandDispatcher dispatcher;
        static String reply;

        public EagerHandler() {
            reply = Replies.exceptionText(dispatcher.answer(Commands.call("other", "")));
        }

        @Override
        public String name() {
            return "eager";
        }

        @Override
        public byte[] handle(byte[] payload) {
            return payload;
        }
    }

    @BeforeEach
    void forgetInstances() {
        CountedHandler.INSTANCES.set(0);
    }

    private ArchiveBuilder archive() throws IOException {
        return new ArchiveBuilder(directory);
    }

    private static String call(CommandDispatcher dispatcher, String handler) {
        return Replies.successText(dispatcher.answer(Commands.call(handler, "x")));
    }

    private static String unknown(CommandDispatcher dispatcher) {
        return Replies.exceptionText(dispatcher.answer(Commands.call("unknown", "")));
    }

    @Test
    @DisplayName("finds the handlers of every archive of the class path")
    void classPath() throws IOException {
        Path first = archive().handler("One", "one", "return \"1\".getBytes();")
                .handler("Two", "two", "return \"2\".getBytes();").write(directory.resolve("first.jar"));
        Path second =
                archive().handler("Three", "three", "return \"3\".getBytes();")
                        .write(directory.resolve("second.jar"));
        CommandDispatcher dispatcher = new CommandDispatcher(ClassPaths.of(first, second));
        assertEquals("1", call(dispatcher, "one"));
        assertEquals("2", call(dispatcher, "two"));
        assertEquals("3", call(dispatcher, "three"));
        assertEquals("Unknown handler 'unknown'. Known handlers: digest, echo, load-archives, objects, one,"
                + " three, two.", unknown(dispatcher));
    }

    @Test
    @DisplayName("finds the handlers that a JVM was started with")
    void startedWith() throws IOException, InterruptedException {
        Path archive = archive().handler("Greeter", "greet", "return (\"hello \""
                + " + new String(payload)).getBytes();").write(directory.resolve("greeter.jar"));
        assertEquals("hello child\n",
                ChildJvm.run(directory, List.of(), List.of(archive), GreetProgram.class));
    }

    /** Calls the handler {@code greet} of its class path. */
    static final class GreetProgram {

        private GreetProgram() {
        }

        public static void main(String[] arguments) {
            byte[] reply = Receiver.sendCommand(Commands.call("greet", "child"));
            System.out.println(new String(reply, 11, reply.length - 11));
        }
    }

    @Test
    @DisplayName("instantiates each handler once, whatever archives arrive later")
    void oneInstance() throws IOException {
        CommandDispatcher dispatcher =
                new CommandDispatcher(ClassPaths.listing(directory, CountedHandler.class));
        assertEquals("x", call(dispatcher, "counted"));
        unknown(dispatcher);
        Path archive = archive().handler("Later", "later", "return payload;")
                .provider(CountedHandler.class.getName()).write(directory.resolve("later.jar"));
        assertEquals("later\n", Replies.successText(
                dispatcher.answer(Commands.call("load-archives", archive.toString()))));
        assertEquals("x", call(dispatcher, "counted"));
        assertEquals("x", call(dispatcher, "later"));
        assertEquals(1, CountedHandler.INSTANCES.get());
    }

    @Test
    @DisplayName("waits for the first need of a handler that is not built in")
    void lazy() throws IOException {
        CommandDispatcher dispatcher =
                new CommandDispatcher(ClassPaths.listing(directory, CountedHandler.class));
        assertEquals("x", call(dispatcher, "echo"));
        assertEquals(0, CountedHandler.INSTANCES.get());
        dispatcher.describe();
        assertEquals(1, CountedHandler.INSTANCES.get());
    }

    @Test
    @DisplayName("lets constructors of handlers use the receiver")
    void reentrant() throws IOException {
        EagerHandler.dispatcher =
                new CommandDispatcher(ClassPaths.listing(directory, EagerHandler.class));
        assertEquals("x", call(EagerHandler.dispatcher, "eager"));
        assertEquals("Unknown handler 'other'. Known handlers: digest, echo, load-archives, objects.",
                EagerHandler.reply);
    }

    @Test
    @DisplayName("skips each provider that cannot be loaded and says why")
    void brokenProviders() throws IOException {
        String service = "implements com.ferrolink.core.receiver.CommandHandler";
        String methods = "public String name() { return \"never\"; }"
                + " public byte[] handle(byte[] payload) { return payload; } }";
        Path archive = archive().provider("no.such.Handler")
                .provider("NoHandler").source("NoHandler", "public class NoHandler { }")
                .provider("Refuses").source("Refuses", "public class Refuses " + service
                        + " { public Refuses() { throw new IllegalStateException(\"no licence\"); } "
                        + methods)
                .source("Base", "public class Base { }").leaveOut("Base")
                .provider("Orphan").source("Orphan", "public class Orphan extends Base " + service
                        + " { " + methods)
                .provider("Static").source("Static", "public class Static " + service
                        + " { static final int ZERO = 1 / Integer.parseInt(\"0\"); " + methods)
                .handler("Works", "works", "return payload;").write(directory.resolve("broken.jar"));
        CommandDispatcher dispatcher = new CommandDispatcher(ClassPaths.of(archive));
        assertEquals("x", call(dispatcher, "works"));
        String failed = "java.util.ServiceConfigurationError:"
                + " com.ferrolink.core.receiver.CommandHandler: ";
        assertEquals("Unknown handler 'unknown'. Known handlers: digest, echo, load-archives, objects, works.\n"
                + "Not available: no.such.Handler: " + failed + "Provider no.such.Handler not found\n"
                + "Not available: NoHandler: " + failed + "NoHandler not a subtype\n"
                + "Not available: Refuses: java.lang.IllegalStateException: no licence\n"
                + "Not available: Orphan: java.lang.NoClassDefFoundError: Base; caused by"
                + " java.lang.ClassNotFoundException: Base\n"
                + "Not available: Static: java.lang.ExceptionInInitializerError; caused by"
                + " java.lang.ArithmeticException: / by zero", unknown(dispatcher));
    }

    @Test
    @DisplayName("skips handlers whose names cannot be sent and says why")
    void brokenNames() throws IOException {
        String rest = " { throw new IllegalStateException(\"no name\"); }"
                + " public byte[] handle(byte[] payload) { return payload; } }";
        Path archive = archive()
                .provider("Throws").source("Throws", "public class Throws implements"
                        + " com.ferrolink.core.receiver.CommandHandler { public String name()" + rest)
                .provider("Null").source("Null", "public class Null implements"
                        + " com.ferrolink.core.receiver.CommandHandler { public String name()"
                        + rest.replace("throw new IllegalStateException(\"no name\")", "return null"))
                .handler("Empty", "", "return payload;")
                .handler("Long", "l".repeat(254) + "\\u00e4", "return payload;")
                .handler("Fits", "f".repeat(253) + "\\u00e4", "return payload;")
                .write(directory.resolve("names.jar"));
        CommandDispatcher dispatcher = new CommandDispatcher(ClassPaths.of(archive));
        String fits = "f".repeat(253) + "\u00e4";
        assertEquals("x", call(dispatcher, fits));
        assertEquals("Unknown handler 'unknown'. Known handlers: digest, echo, " + fits
                + ", load-archives, objects.\n"
                + "Not available: Throws: java.lang.IllegalStateException: no name\n"
                + "Not available: Null in " + archive + ": its name is null.\n"
                + "Not available: Empty in " + archive + ": its name is empty.\n"
                + "Not available: Long in " + archive + ": its name has 256 bytes, at most 255 are"
                + " possible.", unknown(dispatcher));
    }

    @Test
    @DisplayName("goes on behind lists of providers that are not well-formed and blames no handler")
    void brokenLists() throws IOException {
        Path first = archive().provider("two words").write(directory.resolve("first.jar"));
        Path works = archive().handler("Works", "works", "return payload;")
                .write(directory.resolve("works.jar"));
        Path last = archive().provider("two words").write(directory.resolve("last.jar"));
        CommandDispatcher dispatcher = new CommandDispatcher(ClassPaths.of(first, works, last));
        assertEquals("x", call(dispatcher, "works"));
        String reason = "\nNot available: java.util.ServiceConfigurationError:"
                + " com.ferrolink.core.receiver.CommandHandler: jar:file:";
        String rest = "!/" + ArchiveBuilder.SERVICE + ":1: Illegal configuration-file syntax";
        assertEquals("Unknown handler 'unknown'. Known handlers: digest, echo, load-archives, objects, works."
                + reason + first + rest + reason + last + rest,
                unknown(dispatcher).replace("syntax: two words", "syntax"));
    }

    @Test
    @DisplayName("keeps the first handler of a name and reports the later one")
    void duplicates() throws IOException {
        Path first = archive().handler("First", "greet", "return \"first\".getBytes();")
                .handler("MyEcho", "echo", "return \"mine\".getBytes();")
                .write(directory.resolve("first.jar"));
        Path second = archive().handler("Second", "greet", "return \"second\".getBytes();")
                .write(directory.resolve("second.jar"));
        CommandDispatcher dispatcher = new CommandDispatcher(ClassPaths.of(first));
        assertEquals("first", call(dispatcher, "greet"));
        assertEquals("", Replies.successText(
                dispatcher.answer(Commands.call("load-archives", second.toString()))));
        assertEquals("first", call(dispatcher, "greet"));
        assertEquals("x", call(dispatcher, "echo"));
        assertEquals("Unknown handler 'unknown'. Known handlers: digest, echo, greet, load-archives, objects.\n"
                + "Not available: MyEcho in " + first + ": its name 'echo' is taken by"
                + " com.ferrolink.core.receiver.EchoHandler in " + ClassPaths.originOf(Receiver.class)
                + ".\nNot available: Second in " + second + ": its name 'greet' is taken by First in "
                + first + ".", unknown(dispatcher));
    }

    @Test
    @DisplayName("reports a class that is in use already, from another archive")
    void sameClass() throws IOException {
        Path first = archive().handler("Same", "same", "return \"first\".getBytes();")
                .write(directory.resolve("first.jar"));
        Path second = archive().handler("Same", "same", "return \"second\".getBytes();")
                .write(directory.resolve("second.jar"));
        CommandDispatcher dispatcher = new CommandDispatcher(ClassPaths.of(first));
        dispatcher.answer(Commands.call("load-archives", second.toString()));
        assertEquals("first", call(dispatcher, "same"));
        assertEquals("Unknown handler 'unknown'. Known handlers: digest, echo, load-archives, objects, same.\n"
                + "Not available: Same: the class is in use already, from Same in " + first + ".",
                unknown(dispatcher));
    }
}
