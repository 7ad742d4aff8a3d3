package com.ferrolink.core.receiver;

import com.ferrolink.core.protocol.CommandHeader;

/** Answers commands with a set of handlers. Thread-safe. */
final class CommandDispatcher {

    private final HandlerRegistry registry = new HandlerRegistry();
    private final HandlerDiscovery discovery;
    private final ObjectsHandler objects;

    /**
     * @param classPathLoader the loader of the handlers, and the parent of the loader of archives that
     *     are added later
     */
    CommandDispatcher(ClassLoader classPathLoader) {
        discovery = new HandlerDiscovery(registry, classPathLoader);
        registry.register(new EchoHandler());
        registry.register(new DigestHandler());
        registry.register(new LoadArchivesHandler(discovery));
        objects = new ObjectsHandler(discovery);
        registry.register(objects);
    }

    /** Answers a command of any type. Any failure becomes an exception report. */
    byte[] answer(byte[] command) {
        try {
            CommandFrame.requireHeader(command);
            switch (CommandHeader.typeOf(command)) {
                case CommandHeader.TYPE_CALL_HANDLER:
                case CommandHeader.TYPE_CALL_WITHIN:
                    return callHandler(command);
                case CommandHeader.TYPE_HEART_BEAT:
                    return ReplyFrame.heartBeat(CommandFrame.callerOf(command), command);
                case CommandHeader.TYPE_LOAD_LIBRARY:
                    discovery.addArchives(CommandFrame.libraryPathOf(command));
                    return ReplyFrame.libraryLoaded();
                default:
                    throw new CommandRejectedException("Unknown command type "
                            + CommandHeader.typeOf(command) + ". Known types: 1 (load a library),"
                            + " 2 (call a handler), 3 (call a handler within a time), 11 (heartbeat).");
            }
        } catch (CommandRejectedException rejected) {
            return ReplyFrame.exception(CommandFrame.callerOf(command), rejected.getMessage());
        } catch (Throwable failure) {
            return ExceptionReport.reply(CommandFrame.callerOf(command), failure);
        }
    }

    /** Answers a heartbeat. A command of any other type is not executed but gets an exception report. */
    byte[] answerHeartBeat(byte[] command) {
        if (command == null || command.length < CommandHeader.SIZE
                || CommandHeader.typeOf(command) == CommandHeader.TYPE_HEART_BEAT) {
            return answer(command);
        }
        return ReplyFrame.exception(CommandFrame.callerOf(command), "Command type "
                + CommandHeader.typeOf(command) + " came as a heartbeat, which is type 11.");
    }

    /** A readable description of this JVM and its handlers. */
    String describe() {
        discovery.searchClassPath();
        return RuntimeInfo.describe(discovery.addedArchives(), registry.names(), registry.problems());
    }

    private byte[] callHandler(byte[] command) throws Exception {
        if (objects.isFor(command)) {
            return objects.answer(command);
        }
        int name = CommandFrame.nameStart(command);
        int size = CommandFrame.nameSize(command, name);
        RegisteredHandler handler = registry.find(command, name, size);
        if (handler == null) {
            discovery.searchClassPath();
            handler = registry.find(command, name, size);
        }
        if (handler == null) {
            throw unknownHandler(CommandFrame.nameAt(command, name));
        }
        return ReplyFrame.address(CommandFrame.callerOf(command), handler.reply(command, name + size));
    }

    private CommandRejectedException unknownHandler(String name) {
        StringBuilder text = new StringBuilder("Unknown handler '").append(name)
                .append("'. Known handlers: ").append(String.join(", ", registry.names())).append('.');
        for (String problem : registry.problems()) {
            text.append("\nNot available: ").append(problem);
        }
        return new CommandRejectedException(text.toString());
    }
}
