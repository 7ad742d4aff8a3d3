package com.ferrolink.core.objects;

import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/**
 * All methods of a class with one name and kind, or all its constructors, or one field. Thread-safe.
 */
final class Member {

    /** The maximum number of remembered choices, one for each list of argument types. */
    private static final int REMEMBERED = 8;

    private final MemberKind kind;
    private final Class<?> owner;
    private final String name;
    /** Empty for a field. */
    private final List<Overload> overloads;
    /** Null unless this is a field. */
    private final FieldAccess field;
    /**
     * The newest choice is first. The list is replaced as a whole. If two threads do so at once, one
     * choice is lost and made again later.
     */
    private volatile Remembered[] remembered = {};

    Member(MemberKind kind, Class<?> owner, String name, List<Overload> overloads) {
        this.kind = kind;
        this.owner = owner;
        this.name = name;
        this.overloads = overloads;
        this.field = null;
    }

    Member(MemberKind kind, Class<?> owner, String name, FieldAccess field) {
        this.kind = kind;
        this.owner = owner;
        this.name = name;
        this.overloads = Collections.emptyList();
        this.field = field;
    }

    boolean hasSelf() {
        return kind.hasSelf();
    }

    /** @throws Refusal if this is no field */
    FieldAccess field() {
        if (field == null) {
            throw new Refusal(Refusal.NOT_FOUND, this + " is no field.");
        }
        return field;
    }

    /**
     * The overload for these arguments.
     *
     * @throws Refusal if no overload fits, if several do, if the object is of another class, or if this
     *     is a field
     */
    OverloadChoice choose(Arguments arguments) {
        requireSelf(arguments.self());
        for (Remembered one : remembered) {
            if (Arrays.equals(one.codes, arguments.codes)) {
                return one.choice;
            }
        }
        if (field != null) {
            throw new Refusal(Refusal.NOT_FOUND, this + " cannot be called.");
        }
        OverloadChoice choice = OverloadChoice.among(overloads, arguments.types(), toString());
        remember(new Remembered(arguments.codes, choice));
        return choice;
    }

    /** @throws Refusal if the object is missing or of another class */
    void requireSelf(Object self) {
        if (kind.hasSelf() ? !owner.isInstance(self) : self != null) {
            throw new Refusal(Refusal.NO_CONVERSION, kind.hasSelf()
                    ? this + " needs an object of its class, not one of "
                            + (self == null ? "none" : Signature.of(self.getClass())) + '.'
                    : this + " takes no object.");
        }
    }

    private void remember(Remembered latest) {
        Remembered[] known = remembered;
        Remembered[] more = new Remembered[Math.min(known.length + 1, REMEMBERED)];
        more[0] = latest;
        System.arraycopy(known, 0, more, 1, more.length - 1);
        remembered = more;
    }

    @Override
    public String toString() {
        String type = Signature.of(owner);
        return kind == MemberKind.CONSTRUCTOR ? "new " + type : type + '.' + name;
    }

    /** Refers to classes by number, which keeps no class alive. */
    private static final class Remembered {
        final int[] codes;
        final OverloadChoice choice;

        Remembered(int[] codes, OverloadChoice choice) {
            this.codes = codes;
            this.choice = choice;
        }
    }
}
