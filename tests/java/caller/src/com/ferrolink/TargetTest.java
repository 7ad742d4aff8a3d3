package com.ferrolink;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

@DisplayName("A target")
final class TargetTest {

    @ParameterizedTest
    @CsvSource({"CLR,0,Clr", "GO,1,Go", "JVM,2,Jvm", "NETCORE,3,Netcore", "PERL,4,Perl",
        "PYTHON,5,Python", "RUBY,6,Ruby", "NODEJS,7,Nodejs", "CPP,8,Cpp", "PHP,9,Php",
        "PYTHON2,10,Python2"})
    @DisplayName("has a runtime with this number and name")
    void runtimes(RuntimeId runtime, int code, String name) {
        assertEquals(code, runtime.code());
        assertEquals(name, runtime.displayName());
        assertEquals(11, RuntimeId.values().length);
    }

    @Test
    @DisplayName("in this process has neither host nor port")
    void inMemory() {
        Target target = Target.inMemory(RuntimeId.CPP);
        assertEquals(RuntimeId.CPP, target.runtime());
        assertEquals(ChannelType.IN_MEMORY, target.channel());
        assertEquals("", target.host());
        assertEquals(0, target.port());
        assertEquals("Cpp (in memory)", target.toString());
    }

    @Test
    @DisplayName("behind an endpoint has its host and port")
    void network() {
        Target tcp = Target.tcp(RuntimeId.PYTHON, "10.0.0.7", 1);
        assertEquals(ChannelType.TCP, tcp.channel());
        assertEquals("10.0.0.7", tcp.host());
        assertEquals(1, tcp.port());
        Target tls = Target.tls(RuntimeId.PYTHON, "255.0.199.100", 65535);
        assertEquals(ChannelType.TLS, tls.channel());
        assertEquals("Python at 255.0.199.100:65535 (TLS)", tls.toString());
    }

    @Test
    @DisplayName("equals another one with the same runtime, channel, host and port")
    void equality() {
        Target target = Target.tcp(RuntimeId.GO, "1.2.3.4", 5);
        assertEquals(target, Target.tcp(RuntimeId.GO, "1.2.3.4", 5));
        assertEquals(target.hashCode(), Target.tcp(RuntimeId.GO, "1.2.3.4", 5).hashCode());
        assertNotEquals(target, Target.tls(RuntimeId.GO, "1.2.3.4", 5));
        assertNotEquals(target, Target.tcp(RuntimeId.CLR, "1.2.3.4", 5));
        assertNotEquals(target, Target.tcp(RuntimeId.GO, "1.2.3.5", 5));
        assertNotEquals(target, Target.tcp(RuntimeId.GO, "1.2.3.4", 6));
        assertNotEquals(target, "Go");
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "localhost", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.", ".1.2.3",
        "1..2.3", "01.2.3.4", "1.2.3.-4", "1.2.3.+4", " 1.2.3.4", "1.2.3.4 ", "::1", "1.2.3.1000",
        "1.2.3.x", "1.2.3.\u0664"})
    @DisplayName("refuses what is no IPv4 address")
    void badHosts(String host) {
        String text = "A host is an IPv4 address of four decimal numbers, such as 127.0.0.1, not '"
                + host + "'.";
        assertEquals(text, assertThrows(IllegalArgumentException.class,
                () -> Target.tcp(RuntimeId.CPP, host, 1)).getMessage());
        assertEquals(text, assertThrows(IllegalArgumentException.class,
                () -> Target.tls(RuntimeId.CPP, host, 1)).getMessage());
    }

    @ParameterizedTest
    @ValueSource(ints = {Integer.MIN_VALUE, -1, 0, 65536, Integer.MAX_VALUE})
    @DisplayName("refuses what is no port")
    void badPorts(int port) {
        assertEquals("A port is 1 to 65535, not " + port + ".",
                assertThrows(IllegalArgumentException.class,
                        () -> Target.tcp(RuntimeId.CPP, "1.2.3.4", port)).getMessage());
        assertThrows(IllegalArgumentException.class,
                () -> Target.tls(RuntimeId.CPP, "1.2.3.4", port));
    }

    @Test
    @DisplayName("refuses null")
    void nulls() {
        assertThrows(NullPointerException.class, () -> Target.inMemory(null));
        assertThrows(NullPointerException.class, () -> Target.tcp(null, "1.2.3.4", 1));
        assertThrows(NullPointerException.class, () -> Target.tcp(RuntimeId.CPP, null, 1));
        assertThrows(NullPointerException.class, () -> Ferrolink.to(null));
    }
}
