package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.nio.ByteBuffer;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("Threads that share one object")
final class ConcurrentExchangesTest {

    private static final int FAILING = 160;

    private final FakeCalls calls = new FakeCalls();
    private final Ferrolink ferrolink = new Ferrolink(Target.inMemory(RuntimeId.CPP), calls,
            new PlatformThreads(4), TimedThreads.shared());

    private static byte[] payload(int thread, int command) {
        return ByteBuffer.allocate(8).putInt(thread).putInt(command).array();
    }

    private static byte[] respond(byte[] command) {
        byte[] payload = FakeCalls.payloadOf(command);
        int number = ByteBuffer.wrap(payload).getInt(4);
        if (number % FAILING == 1) {
            return null;
        }
        return number % FAILING == 2 ? Responses.of(10, payload) : Responses.of(0, payload);
    }

    private void check(int thread, int number) {
        byte[] payload = payload(thread, number);
        if (number % FAILING == 1) {
            assertEquals("whole", assertThrows(FerrolinkException.class,
                    () -> ferrolink.call("f", payload)).text());
        } else if (number % FAILING == 2) {
            assertThrows(RemoteException.class, () -> ferrolink.call("f", payload));
        } else {
            assertArrayEquals(payload, ferrolink.call("f", payload));
        }
    }

    @ParameterizedTest
    @ValueSource(booleans = {false, true})
    @DisplayName("each get their own answers, with failures among them, on threads of either kind")
    void ownAnswers(boolean virtual) throws Exception {
        calls.responder = ConcurrentExchangesTest::respond;
        calls.error = "JVM Lib: Exception code 001. whole";
        Threads.onEach(8, virtual, thread -> {
            for (int number = 0; number < 20_000; number++) {
                check(thread, number);
            }
        });
        assertEquals(160_000, calls.sent.size());
    }

    @Test
    @DisplayName("may be many virtual ones, which wait for the pool")
    void manyThreads() throws Exception {
        calls.responder = command -> Responses.of(0, FakeCalls.payloadOf(command));
        Threads.onEach(500, true, thread -> assertArrayEquals(payload(thread, 0),
                ferrolink.call("f", payload(thread, 0))));
        assertEquals(500, calls.sent.size());
    }
}
