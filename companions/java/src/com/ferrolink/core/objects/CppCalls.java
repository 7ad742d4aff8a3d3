package com.ferrolink.core.objects;

import com.ferrolink.Ferrolink;
import com.ferrolink.FerrolinkException;
import com.ferrolink.RemoteException;
import com.ferrolink.RuntimeId;

/** Calls handlers of the C++ member of this process. Tests replace it by a double. */
interface CppCalls {

    /** The C++ member. The first call loads it. */
    CppCalls MEMBER = (handler, payload) -> Member.CPP.call(handler, payload);

    /**
     * Calls a handler and returns its answer.
     *
     * @throws RemoteException if the handler fails
     * @throws FerrolinkException if the call does not reach the handler
     */
    byte[] call(String handler, byte[] payload);

    /** Calls a handler and ignores its answer. Returns whether the handler may have been called. */
    default boolean notify(String handler, byte[] payload) {
        try {
            call(handler, payload);
            return true;
        } catch (RemoteException unheard) {
            return true;
        } catch (FerrolinkException failure) {
            return failure.mayHaveExecuted();
        }
    }

    /** Created by the first call. */
    final class Member {
        static final Ferrolink CPP = Ferrolink.inMemory(RuntimeId.CPP);

        private Member() {
        }
    }
}
