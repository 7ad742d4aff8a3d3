package com.ferrolink;

/** The ways by which commands reach a runtime. */
public enum ChannelType {

    /** A runtime in this process, through its own native library. */
    IN_MEMORY(0, "in memory"),
    /** A runtime behind a TCP endpoint, unencrypted. */
    TCP(1, "TCP"),
    /** A runtime behind a TCP endpoint, encrypted with TLS. */
    TLS(2, "TLS");

    private final int code;
    private final String displayName;

    ChannelType(int code, String displayName) {
        this.code = code;
        this.displayName = displayName;
    }

    /**
     * The number that stands for this channel in commands.
     *
     * @return 0 to 2
     */
    public int code() {
        return code;
    }

    /** The type in words, for people. */
    @Override
    public String toString() {
        return displayName;
    }
}
