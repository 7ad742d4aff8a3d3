package com.ferrolink.core.objects;

import java.util.Iterator;

/** Reads many elements of an iterator at a time. */
final class Fetch {

    /** A fetch ends when its reply has at least this many bytes. */
    private static final int MAXIMUM_SIZE = 8 << 20;

    private Fetch() {
    }

    /**
     * Writes the elements. If the iterator fails after some elements, this reply has the elements, and
     * the next fetch has the failure.
     */
    static Object perform(ValueReader in, ValueWriter out) throws Throwable {
        Object object = in.object();
        int want = ValueWriter.want(in.wire());
        int most = in.wire().i32();
        in.wire().requireEnd();
        if (most == 0) {
            throw in.wire().malformed(Integer.BYTES, "no elements are asked for.");
        }
        if (!(object instanceof Iterator)) {
            throw new Refusal(Refusal.NO_CONVERSION, Signature.of(object.getClass())
                    + " is no Iterator: ask for one first.");
        }
        ElementSource source = object instanceof ElementSource ? (ElementSource) object : null;
        Throwable failure = source == null ? null : source.takeFailure();
        if (failure != null) {
            throw failure;
        }
        WireWriter wire = out.wire();
        int start = wire.size();
        wire.u8(1).i32(0);
        int count = 0;
        boolean more = true;
        while (more && Integer.compareUnsigned(count, most) < 0 && wire.size() - start < MAXIMUM_SIZE) {
            int size = wire.size();
            int made = out.madeCount();
            try {
                more = takeOne((Iterator<?>) object, out, want);
                count += more ? 1 : 0;
            } catch (Throwable later) {
                if (source == null || count == 0) {
                    throw later;
                }
                wire.shrink(size);
                out.releaseMade(made);
                source.postpone(later);
                break;
            }
        }
        wire.bytes()[start] = (byte) (more ? 1 : 0);
        wire.setI32(start + 1, count);
        return null;
    }

    private static boolean takeOne(Iterator<?> elements, ValueWriter out, int want) {
        if (!elements.hasNext()) {
            return false;
        }
        out.result(elements.next(), want, 0);
        return true;
    }
}
