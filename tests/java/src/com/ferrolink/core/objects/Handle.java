package com.ferrolink.core.objects;

/** An object on the other side, as a client of the broker knows it. */
final class Handle {

    final long number;
    final int classId;

    Handle(long number, int classId) {
        this.number = number;
        this.classId = classId;
    }

    @Override
    public String toString() {
        return "handle " + Long.toHexString(number);
    }
}
