package com.ferrolink.core.objects;

import com.ferrolink.Ferrolink;
import com.ferrolink.FerrolinkException;
import com.ferrolink.RemoteException;
import com.ferrolink.RuntimeId;

/** Calls handlers of the C++ member of this process. Tests put a double in its place. */
interface CppCalls {

    /** The member itself, which the first call loads. */
    CppCalls MEMBER = (handler, payload) -> Member.CPP.call(handler, payload);

    /**
     * Calls a handler and returns its answer.
     *
     * @throws RemoteException if the call fails over there
     * @throws FerrolinkException if it does not get through
     */
    byte[] call(String handler, byte[] payload);

    /** Calls a handler whose answer says nothing; whether it may have come there. */
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

    /** Made with the first call. */
    final class Member {
        static final Ferrolink CPP = Ferrolink.inMemory(RuntimeId.CPP);

        private Member() {
        }
    }
}
