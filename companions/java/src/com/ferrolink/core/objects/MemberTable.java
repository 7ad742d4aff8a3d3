package com.ferrolink.core.objects;

import java.lang.ref.WeakReference;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.AtomicReferenceArray;

/**
 * Members by number, from 1. Each class holds its members, so they are collected with the class.
 * Numbers are never reused. Thread-safe.
 */
final class MemberTable {

    private static final MemberTable SHARED = new MemberTable();
    private static final int FIRST_CAPACITY = 256;

    private final ClassValue<ConcurrentHashMap<List<Object>, Numbered>> byClass =
            new ClassValue<ConcurrentHashMap<List<Object>, Numbered>>() {
                @Override
                protected ConcurrentHashMap<List<Object>, Numbered> computeValue(Class<?> type) {
                    return new ConcurrentHashMap<>();
                }
            };

    /** Written under the lock. After that, only elements behind the last one change. */
    private volatile AtomicReferenceArray<WeakReference<Member>> byNumber =
            new AtomicReferenceArray<>(FIRST_CAPACITY);
    /** Guarded by this. */
    private int last;

    private MemberTable() {
    }

    /** The table of the process. */
    static MemberTable shared() {
        return SHARED;
    }

    /**
     * The number of a member. The same arguments give the same number.
     *
     * @throws Refusal if there is no such member
     */
    int numberOf(MemberKind kind, Class<?> owner, String name) {
        ConcurrentHashMap<List<Object>, Numbered> members = byClass.get(owner);
        List<Object> question = Arrays.asList(kind, kind == MemberKind.CONSTRUCTOR ? "" : name);
        Numbered known = members.get(question);
        if (known == null) {
            Member member = MemberSearch.find(kind, owner, name);
            synchronized (this) {
                known = members.get(question);
                if (known == null) {
                    known = new Numbered(member, add(member));
                    members.put(question, known);
                }
            }
        }
        return known.number;
    }

    /** @throws Refusal if no member has this number, or if its class was unloaded */
    Member get(int number) {
        AtomicReferenceArray<WeakReference<Member>> all = byNumber;
        WeakReference<Member> reference = number > 0 && number < all.length() ? all.get(number) : null;
        Member member = reference == null ? null : reference.get();
        if (member == null) {
            throw new Refusal(Refusal.NOT_FOUND, "There is no member " + (number & 0xFFFFFFFFL)
                    + (reference == null ? "." : " any more: its class was unloaded."));
        }
        return member;
    }

    /** The number of known members. */
    long size() {
        AtomicReferenceArray<WeakReference<Member>> all = byNumber;
        long count = 0;
        for (int number = 1; number < all.length(); number++) {
            WeakReference<Member> reference = all.get(number);
            count += reference != null && reference.get() != null ? 1 : 0;
        }
        return count;
    }

    private int add(Member member) {
        int number = last + 1;
        AtomicReferenceArray<WeakReference<Member>> all = byNumber;
        if (number == all.length()) {
            AtomicReferenceArray<WeakReference<Member>> more =
                    new AtomicReferenceArray<>(2 * all.length());
            for (int index = 1; index < number; index++) {
                more.set(index, all.get(index));
            }
            all = more;
        }
        all.set(number, new WeakReference<>(member));
        byNumber = all;
        last = number;
        return number;
    }

    private static final class Numbered {
        final Member member;
        final int number;

        Numbered(Member member, int number) {
            this.member = member;
            this.number = number;
        }
    }
}
