package com.ferrolink.core.receiver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

@DisplayName("With an exhausted heap, the receiver")
final class ExhaustedHeapTest {

    private static final String TOO_LITTLE = " (too little memory or stack left to say more)";

    @TempDir
    private Path directory;

    /** Takes all memory, keeps it but for the reserve, if that is asked for, and fails. */
    public static final class HoardingHandler implements CommandHandler {

        static Object[] hoard;
        private static byte[] reserve = new byte[16 * 1024];

        /** Cannot be described within the reserve. */
        private static final RuntimeException LONG =
                new IllegalStateException("m".repeat(ExceptionReport.MAXIMUM_MESSAGE));

        @Override
        public String name() {
            return "hoard";
        }

        @Override
        public byte[] handle(byte[] payload) {
            OutOfMemoryError last = null;
            for (int size = 1 << 18; size > 0; size /= 2) {
                try {
                    while (true) {
                        Object[] more = new Object[size];
                        more[0] = hoard;
                        hoard = more;
                    }
                } catch (OutOfMemoryError full) {
                    last = full;
                }
            }
            if (payload.length > 0) {
                reserve = null;
                throw LONG;
            }
            throw last;
        }
    }

    /** Sends commands while nothing can be allocated any more, and prints the replies afterwards. */
    static final class HoardProgram {

        private HoardProgram() {
        }

        public static void main(String[] arguments) {
            byte[] hoard = Commands.call("hoard", "");
            byte[] echo = Commands.call("echo", new byte[1000]);
            byte[] unknown = Commands.call("none", "");
            Receiver.sendCommand(unknown);
            byte[] brief = Receiver.sendCommand(Commands.call("hoard", "leave the reserve"));
            HoardingHandler.hoard = null;
            print(brief);
            byte[] first = Receiver.sendCommand(hoard);
            byte[] second = Receiver.sendCommand(echo);
            byte[] third = Receiver.sendCommand(unknown);
            byte[] fourth = Receiver.heartBeat(echo);
            String info = Receiver.getRuntimeInfo();
            HoardingHandler.hoard = null;
            print(first);
            print(second);
            print(third);
            print(fourth);
            System.out.print(info);
            print(Receiver.sendCommand(Commands.call("echo", "recovered")));
        }

        private static void print(byte[] reply) {
            System.out.println(reply[0] + " " + reply[9] + " " + reply[10] + " "
                    + new String(reply, 11, reply.length - 11, StandardCharsets.UTF_8)
                            .split("\n")[0]);
        }
    }

    @Test
    @DisplayName("still answers everything, with less text, and recovers")
    void answers() throws IOException, InterruptedException {
        ClassPaths.listing(directory, HoardingHandler.class);
        String output = ChildJvm.run(directory, List.of("-Xmx24m", "-XX:+UseSerialGC"),
                List.of(directory), HoardProgram.class);
        String[] lines = output.split("\n");
        assertEquals(7, lines.length, output);
        assertEquals("7 2 10 java.lang.IllegalStateException" + TOO_LITTLE, lines[0], output);
        for (int index = 1; index < 5; index++) {
            assertTrue(lines[index].equals("7 2 10 java.lang.OutOfMemoryError" + TOO_LITTLE)
                    || lines[index].equals("7 2 10 " + LastResortReply.TEXT), output);
        }
        assertEquals("Java runtime information is unavailable.", lines[5], output);
        assertEquals("7 2 0 recovered", lines[6], output);
    }
}
