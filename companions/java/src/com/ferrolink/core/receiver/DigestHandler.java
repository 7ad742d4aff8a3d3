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
final class DigestHandler implements CommandHandler {

    @Override
    public String name() {
        return "digest";
    }

    @Override
    public byte[] handle(byte[] payload) {
        int size = payload.length == 0 ? 0 : payload[0] & 0xFF;
        if (size == 0 || payload.length - 1 < size) {
            throw new IllegalArgumentException("The payload of digest begins with the length (one byte)"
                    + " and the name of an algorithm; " + payload.length + " bytes came, "
                    + (1 + Math.max(size, 1)) + " are needed at least.");
        }
        String algorithm = new String(payload, 1, size, StandardCharsets.UTF_8);
        MessageDigest digest = digestFor(algorithm);
        digest.update(payload, 1 + size, payload.length - 1 - size);
        return digest.digest();
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
