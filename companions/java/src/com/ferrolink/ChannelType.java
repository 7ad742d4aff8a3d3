package com.ferrolink;

import com.ferrolink.core.protocol.CommandHeader;

/** The ways in which commands reach a runtime. */
public enum ChannelType {

    /** A runtime in this process, through its own native library. */
    IN_MEMORY(CommandHeader.CHANNEL_IN_MEMORY, "in memory"),
    /** A runtime behind a TCP endpoint, unencrypted. */
    TCP(CommandHeader.CHANNEL_TCP, "TCP"),
    /** A runtime behind a TCP endpoint, encrypted with TLS. */
    TLS(CommandHeader.CHANNEL_TLS, "TLS");

    private final int code;
    private final String displayName;

    ChannelType(int code, String displayName) {
        this.code = code;
        this.displayName = displayName;
    }

    /**
     * The code of this channel in commands.
     *
     * @return 0 to 2
     */
    public int code() {
        return code;
    }

    /** The type in words. */
    @Override
    public String toString() {
        return displayName;
    }
}
