package com.ferrolink.core.objects;

import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/** All methods of one name and kind, all constructors, or a field of a class. Safe for any thread. */
final class Member {

    /** What was chosen for so many different lists of types is remembered. */
    private static final int REMEMBERED = 8;

    private final MemberKind kind;
    private final Class<?> owner;
    private final String name;
    /** Empty for a field. */
    private final List<Overload> overloads;
    /** Null for all but fields. */
    private final FieldAccess field;
    /** The latest first; replaced as a whole. A choice that another thread overwrites is made again. */
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

    /** @throws Refusal for methods and constructors */
    FieldAccess field() {
        if (field == null) {
            throw new Refusal(Refusal.NOT_FOUND, this + " is no field.");
        }
        return field;
    }

    /**
     * The overload for these arguments.
     *
     * @throws Refusal if none fits, several do, the object is none of the class, or this is a field
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

    /** @throws Refusal if the object is none of the class that the member is of, or missing */
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

    /** By numbers of classes, which keep no class alive. */
    private static final class Remembered {
        final int[] codes;
        final OverloadChoice choice;

        Remembered(int[] codes, OverloadChoice choice) {
            this.codes = codes;
            this.choice = choice;
        }
    }
}
