package com.ferrolink.bench;

import com.ferrolink.Ferrolink;
import com.ferrolink.core.transmitter.TransmitterWrapper;
import java.nio.ByteBuffer;
import java.util.Arrays;

/** The contenders that use the library, and those written by hand. */
final class Natives {

    private Natives() {
    }

    /** Two calls per command. The buffer for the answer is reused. */
    private abstract static class Exchanging extends Contender {
        private final int route;
        byte[] command;
        byte[] answer;

        Exchanging(String name, int route) {
            super(name);
            this.route = route;
        }

        @Override
        void prepare(int size) {
            command = Commands.toSibling(size, route);
            answer = new byte[size];
        }

        @Override
        boolean answeredRight() {
            return Arrays.equals(command, answer);
        }
    }

    static final class Ours extends Exchanging {
        Ours(int route) {
            super("ours", route);
        }

        @Override
        void run(long calls) {
            for (long i = 0; i < calls; i++) {
                TransmitterWrapper.sendCommand(command);
                answer[0] = Commands.GO;
                TransmitterWrapper.readResponse(answer);
            }
        }
    }

    static final class SameSequence extends Exchanging {
        SameSequence(int route) {
            super("same-sequence", route);
        }

        @Override
        void run(long calls) {
            for (long i = 0; i < calls; i++) {
                HandWritten.sendCommand(command);
                answer[0] = Commands.GO;
                HandWritten.readResponse(answer);
            }
        }
    }

    static final class OneCall extends Exchanging {
        OneCall(String name) {
            super(name, Commands.ANSWER_ITSELF);
        }

        @Override
        void run(long calls) {
            for (long i = 0; i < calls; i++) {
                answer = HandWritten.call(command);
            }
        }
    }

    /** The C++ member of the installation and its handler "echo". */
    static final class CppMember extends Contender {
        private byte[] command;
        private byte[] answer;
        private int answered;

        CppMember() {
            super("ours, C++ member");
        }

        @Override
        void prepare(int size) {
            command = Commands.toEchoHandler(size);
            answer = new byte[11 + Commands.payloadOf(size)];
        }

        @Override
        void run(long calls) {
            for (long i = 0; i < calls; i++) {
                answered = TransmitterWrapper.sendCommand(command);
                answer[0] = Commands.CPP;
                TransmitterWrapper.readResponse(answer);
            }
        }

        @Override
        boolean answeredRight() {
            return answered == answer.length && answer[10] == 0;
        }
    }

    /** The same through the interface that programs use. Each answer is a new array. */
    static final class PublicInterface extends Contender {
        private final Ferrolink cpp;
        private byte[] payload;
        private byte[] answer;

        PublicInterface(String name, Ferrolink cpp) {
            super(name);
            this.cpp = cpp;
        }

        @Override
        void prepare(int size) {
            payload = new byte[Commands.payloadOf(size)];
            Arrays.fill(payload, (byte) 7);
        }

        @Override
        void run(long calls) {
            for (long i = 0; i < calls; i++) {
                answer = cpp.call("echo", payload);
            }
        }

        @Override
        boolean answeredRight() {
            return Arrays.equals(payload, answer);
        }
    }

    /** The same with buffers of the caller's. */
    static final class PublicBuffers extends Contender {
        private final Ferrolink cpp;
        private ByteBuffer payload;
        private ByteBuffer answer;

        PublicBuffers(String name, Ferrolink cpp) {
            super(name);
            this.cpp = cpp;
        }

        @Override
        void prepare(int size) {
            payload = ByteBuffer.allocate(Commands.payloadOf(size));
            Arrays.fill(payload.array(), (byte) 7);
            answer = ByteBuffer.allocate(Commands.payloadOf(size));
        }

        @Override
        void run(long calls) {
            for (long i = 0; i < calls; i++) {
                answer.clear();
                cpp.call("echo", payload, answer);
            }
        }

        @Override
        boolean answeredRight() {
            return Arrays.equals(payload.array(), answer.array());
        }
    }
}
