package com.ferrolink.core.objects;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.function.Consumer;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("Requests with wrong bytes")
final class MutatedRequestsTest {

    private static final int REQUESTS = Counts.of("TEST_MUTATED_REQUESTS", 50_000);
    private static final long SEED = Counts.of("TEST_SEED", 1);
    private static final String FIXTURES = "com.ferrolink.core.objects.Fixtures";

    private final Client client = new Client();
    private final List<byte[]> sound = new ArrayList<>();
    private final int[] outcomes = new int[3];

    private void add(Consumer<WireWriter> request) {
        WireWriter wire = new WireWriter(64);
        wire.i16(0);
        request.accept(wire);
        sound.add(wire.toByteArray());
    }

    /** Collects at least one request of each kind, with values of all kinds. */
    private void collect() {
        Handle list = client.callStaticForObject("java.util.Arrays", "asList", 1, "b", null);
        Handle text = client.make("java.lang.String", "text");
        int identity = client.resolve(1, FIXTURES, "identity");
        int some = client.resolve(0, FIXTURES + ".Overloads", "some");
        Handle overloads = client.make(FIXTURES + ".Overloads");
        int x = client.resolve(3, overloads, "x");
        Object[] values = {null, true, (byte) 1, (short) 2, 'c', 4, 5L, 6f, 7d, "größer \uD83D\uDE00", list,
            new int[] {1, 2, 3}, new String[] {"a", null}, new int[][] {{1}, {2}}, new boolean[] {true}};
        for (Object value : values) {
            add(wire -> {
                wire.u8(2).i32(identity).u8(2).i64(0).i64(0).u8(1);
                Client.put(wire, value);
            });
            add(wire -> Client.put(wire.u8(10).u8(1).i64(text.number), value));
            add(wire -> Client.put(wire.u8(4).i32(x).i64(overloads.number), value));
        }
        add(wire -> wire.u8(2).i32(some).u8(1).i64(0).i64(overloads.number).u8(3).u8(10).text("v").u8(6).i32(1)
                .u8(5).i16('c'));
        add(wire -> wire.u8(1).u8(1).u8(10).text("java.lang.Math").text("max"));
        add(wire -> wire.u8(1).u8(3).u8(11).i64(overloads.number).i32(0).text("x"));
        add(wire -> wire.u8(3).i32(x).u8(2).i64(0).i64(overloads.number));
        add(wire -> wire.u8(5).i64(list.number).u8(1).i32(2));
        add(wire -> wire.u8(6).i64(list.number));
        add(wire -> wire.u8(7).i64(list.number).i64(0));
        add(wire -> wire.u8(8).u8(10).text("java.util.Map.Entry"));
        add(wire -> wire.u8(9).i32(1).text("java.lang.Runnable").i64(1).text("none").i32(1).text("run").u8(0));
        add(wire -> wire.u8(10).u8(2).i64(list.number).u8(10).text("java.util.List"));
        add(wire -> wire.u8(11));
        add(wire -> wire.u8(12));
        add(wire -> wire.u8(13).u8(10).text("java.lang.Runnable"));
        add(wire -> wire.u8(14).i32(2).i32(9).u8(6).i64(list.number).i32(14).u8(5).i64(1).u8(2).i32(9));
        add(wire -> wire.u8(15).i64(list.number).i32(0).i32(1).i64(4096).i64(7));
        add(wire -> wire.u8(16).i64(list.number));
        add(wire -> wire.u8(18).i64(list.number));
        add(wire -> wire.u8(19).i64(list.number));
    }

    private static byte[] mutated(byte[] request, Random random) {
        byte[] bytes = request.clone();
        for (int change = random.nextInt(3); change >= 0 && bytes.length > 0; change--) {
            int at = random.nextInt(bytes.length);
            switch (random.nextInt(6)) {
                case 0:
                    bytes[at] = (byte) random.nextInt();
                    break;
                case 1:
                    bytes[at] ^= (byte) (1 << random.nextInt(8));
                    break;
                case 2:
                    bytes[at] = (byte) (random.nextBoolean() ? 0xFF : 0x7F);
                    break;
                case 3:
                    bytes = Arrays.copyOf(bytes, at);
                    break;
                case 4:
                    bytes = Arrays.copyOf(bytes, bytes.length + 1 + random.nextInt(9));
                    break;
                default:
                    int from = random.nextInt(bytes.length);
                    System.arraycopy(bytes, from, bytes, at,
                            Math.min(random.nextInt(8), bytes.length - Math.max(from, at)));
                    break;
            }
        }
        return bytes;
    }

    /** Reads a reply to its end and notes the handles in it. */
    private void read(byte[] reply, List<Long> made) {
        assertTrue(reply.length > 0);
        assertTrue(reply[0] >= 0 && reply[0] <= 2, "reply " + reply[0]);
        outcomes[reply[0]]++;
        try {
            Client.success(reply);
        } catch (ThrownInJava thrown) {
            made.add(thrown.throwable.number);
        } catch (Refused refused) {
            assertTrue(refused.kind >= 1 && refused.kind <= 6);
            assertTrue(!refused.getMessage().isEmpty());
        }
    }

    @Test
    @DisplayName("are answered, each with a proper reply")
    void mutated() {
        collect();
        List<Long> made = new ArrayList<>();
        for (byte[] request : sound) {
            read(Client.answer(request), made);
        }
        assertEquals(sound.size(), outcomes[0] + outcomes[1] + outcomes[2]);
        int refusedSound = outcomes[2];
        Random random = new Random(SEED);
        for (int number = 0; number < REQUESTS; number++) {
            byte[] request = mutated(sound.get(random.nextInt(sound.size())), random);
            read(Client.answer(request), made);
            if (made.size() > 10_000) {
                made.forEach(handle -> client.release(new Handle(handle, 0)));
                made.clear();
                client.statistics();
            }
        }
        assertTrue(outcomes[0] > REQUESTS / 20, "answered: " + outcomes[0]);
        assertTrue(outcomes[2] > refusedSound + REQUESTS / 5, "refused: " + outcomes[2]);
        assertEquals(3, client.callStatic("java.lang.Math", "max", 2, 3));
    }
}
