package com.example.handlers;

import com.ferrolink.core.receiver.AnswerOutput;
import com.ferrolink.core.receiver.BufferHandler;
import java.nio.ByteBuffer;
import java.util.Arrays;

/** Sorts numbers: 8 bytes each, signed, the high byte first. */
public final class SortNumbersHandler implements BufferHandler {

    @Override
    public String name() {
        return "sort-numbers";
    }

    @Override
    public void handle(ByteBuffer payload, AnswerOutput answer) {
        int size = payload.remaining();
        if (size % Long.BYTES != 0) {
            throw new IllegalArgumentException("Numbers have 8 bytes each, and " + size + " bytes came.");
        }
        long[] numbers = new long[size / Long.BYTES];
        payload.asLongBuffer().get(numbers);
        Arrays.sort(numbers);
        answer.space(size).asLongBuffer().put(numbers);
    }
}
