package com.ferrolink.core.receiver;

import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.Security;
import java.util.TreeSet;

/**
 * Built-in handler {@code digest}. The payload is the length of an algorithm's name (one byte), the name
 * in UTF-8, for example {@code SHA-256}, and the bytes to digest. The reply is the raw digest.
 */
final class DigestHandler implements InPlaceHandler {

    @Override
    public String name() {
        return "digest";
    }

    @Override
    public byte[] reply(byte[] command, int start) {
        int length = command.length - start;
        int size = length == 0 ? 0 : command[start] & 0xFF;
        if (size == 0 || length - 1 < size) {
            throw new IllegalArgumentException("The payload of digest begins with the length (one byte)"
                    + " and the name of an algorithm; " + length + " bytes came, "
                    + (1 + Math.max(size, 1)) + " are needed at least.");
        }
        String algorithm = new String(command, start + 1, size, StandardCharsets.UTF_8);
        MessageDigest digest = digestFor(algorithm);
        digest.update(command, start + 1 + size, length - 1 - size);
        return ReplyFrame.withRoom(digest.digest(), 0);
    }

    private static MessageDigest digestFor(String algorithm) {
        try {
            return MessageDigest.getInstance(algorithm);
        } catch (NoSuchAlgorithmException unknown) {
            throw new IllegalArgumentException("Unknown digest algorithm '" + algorithm
                    + "'. Available: "
                    + String.join(", ", new TreeSet<>(Security.getAlgorithms("MessageDigest"))) + ".",
                    unknown);
        }
    }
}
