package com.ferrolink;

import java.util.Arrays;
import java.util.Objects;

/**
 * Where commands go: a runtime and the channel to it.
 *
 * <p><b>Threads:</b> immutable and thread-safe.
 */
public final class Target {

    private static final int OCTETS = 4;
    private static final int MAXIMUM_PORT = 0xFFFF;

    private final RuntimeId runtime;
    private final ChannelType channel;
    private final byte[] address;
    private final int port;

    private Target(RuntimeId runtime, ChannelType channel, byte[] address, int port) {
        this.runtime = Objects.requireNonNull(runtime, "runtime");
        this.channel = channel;
        this.address = address;
        this.port = port;
    }

    /**
     * A runtime in this process.
     *
     * @param runtime the runtime, not null
     * @return the target
     */
    public static Target inMemory(RuntimeId runtime) {
        return new Target(runtime, ChannelType.IN_MEMORY, new byte[OCTETS], 0);
    }

    /**
     * A runtime behind a TCP endpoint. The channel type that this process uses first for an endpoint,
     * {@code tcp} or {@code tls}, serves both from then on.
     *
     * @param runtime the runtime, not null
     * @param host an IPv4 address: four decimal numbers without leading zeros, such as
     *     {@code 127.0.0.1}; names are refused
     * @param port 1 to 65535
     * @return the target
     * @throws IllegalArgumentException if {@code host} or {@code port} is something else
     */
    public static Target tcp(RuntimeId runtime, String host, int port) {
        return new Target(runtime, ChannelType.TCP, parseAddress(host), requirePort(port));
    }

    /**
     * A runtime behind a TCP endpoint with TLS. The channel type that this process uses first for an
     * endpoint, {@code tcp} or {@code tls}, serves both from then on.
     *
     * @param runtime the runtime, not null
     * @param host as for {@link #tcp}
     * @param port 1 to 65535
     * @return the target
     * @throws IllegalArgumentException if {@code host} or {@code port} is something else
     */
    public static Target tls(RuntimeId runtime, String host, int port) {
        return new Target(runtime, ChannelType.TLS, parseAddress(host), requirePort(port));
    }

    /**
     * The runtime that executes the commands.
     *
     * @return never null
     */
    public RuntimeId runtime() {
        return runtime;
    }

    /**
     * The type of the channel.
     *
     * @return never null
     */
    public ChannelType channel() {
        return channel;
    }

    /**
     * The address of a network channel.
     *
     * @return four decimal numbers joined by dots; empty for a runtime in this process
     */
    public String host() {
        if (channel == ChannelType.IN_MEMORY) {
            return "";
        }
        return (address[0] & 0xFF) + "." + (address[1] & 0xFF) + "." + (address[2] & 0xFF) + "."
                + (address[3] & 0xFF);
    }

    /**
     * The port of a network channel.
     *
     * @return 1 to 65535; 0 for a runtime in this process
     */
    public int port() {
        return port;
    }

    /** Copies the four octets of the address to the array, at the offset. */
    void copyAddress(byte[] destination, int offset) {
        System.arraycopy(address, 0, destination, offset, OCTETS);
    }

    /** Whether runtime, channel, address and port are the same. */
    @Override
    public boolean equals(Object other) {
        if (!(other instanceof Target)) {
            return false;
        }
        Target that = (Target) other;
        return runtime == that.runtime && channel == that.channel && port == that.port
                && Arrays.equals(address, that.address);
    }

    @Override
    public int hashCode() {
        return Objects.hash(runtime, channel, port, Arrays.hashCode(address));
    }

    /** Such as {@code Cpp (in memory)} or {@code Python at 127.0.0.1:8080 (TLS)}. */
    @Override
    public String toString() {
        String endpoint = channel == ChannelType.IN_MEMORY ? "" : " at " + host() + ":" + port;
        return runtime.displayName() + endpoint + " (" + channel + ")";
    }

    private static int requirePort(int port) {
        if (port < 1 || port > MAXIMUM_PORT) {
            throw new IllegalArgumentException("A port is 1 to 65535, not " + port + ".");
        }
        return port;
    }

    private static byte[] parseAddress(String host) {
        String[] parts = Objects.requireNonNull(host, "host").split("\\.", -1);
        byte[] octets = new byte[OCTETS];
        boolean valid = parts.length == OCTETS;
        for (int index = 0; valid && index < OCTETS; index++) {
            int octet = parseOctet(parts[index]);
            valid = octet >= 0;
            octets[index] = (byte) octet;
        }
        if (!valid) {
            throw new IllegalArgumentException("A host is an IPv4 address of four decimal numbers,"
                    + " such as 127.0.0.1, not '" + host + "'.");
        }
        return octets;
    }

    /** Returns -1 for anything else. Leading zeros are refused: some programs read them as octal. */
    private static int parseOctet(String text) {
        if (text.isEmpty() || text.length() > 3 || text.length() > 1 && text.charAt(0) == '0') {
            return -1;
        }
        int value = 0;
        for (int index = 0; index < text.length(); index++) {
            char digit = text.charAt(index);
            if (digit < '0' || digit > '9') {
                return -1;
            }
            value = value * 10 + (digit - '0');
        }
        return value <= 0xFF ? value : -1;
    }
}
