#ifndef FERROLINK_NATIVE_ROLESINGLETONS_H
#define FERROLINK_NATIVE_ROLESINGLETONS_H

#include <atomic>
#include <mutex>
#include <shared_mutex>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

/// The process-wide roles of a member of the family: one receiver, one transmitter, and the
/// operation mode. Hidden; never freed. The entry layer of each member exports functions over these
/// and defines the two makers.
namespace Ferrolink::Native {

/// Fixed by the first creator of a role; later modes are ignored. Read without a lock.
extern std::atomic<Definitions::RuntimeOperationMode> operationMode;

/// Whether AtStartUp still has to run. Needs no lock, because AtStartUp is idempotent.
extern std::atomic<bool> firstCall;

/// Created under a lock, read without one, never deleted.
extern std::atomic<Interfaces::IReceiver*> receiver;
extern std::atomic<Interfaces::ITransmitter*> transmitter;

/// Locked by the creators of both roles, so that the first role fixes the mode for the other one.
extern std::shared_mutex createReceiverMutex;

/// Unused on purpose: creating a transmitter locks createReceiverMutex. Kept because it belongs to
/// the process-wide state that the family agreed on.
extern std::shared_mutex createTransmitterMutex;

/// Locked by SetOperationModeForTransmitter. Excludes concurrent calls of that function, but not
/// CreateTransmitter.
extern std::shared_mutex setOperationModeForTransmitterMutex;

/// Serialises the set-up of in-memory channels.
extern std::mutex initializationMutex;

/// Make the member's own role objects. Defined by its entry layer. Errors pass through the
/// creators.
Interfaces::IReceiver* MakeReceiver(Definitions::RuntimeOperationMode mode);
Interfaces::ITransmitter* MakeTransmitter(Definitions::RuntimeOperationMode mode);

/// Return the role and create it if necessary. Never null. Only the first creator's `mode` counts.
/// Errors: those of the makers; std::system_error if the thread is inside a creator already.
Interfaces::IReceiver* CreateReceiver(Definitions::RuntimeOperationMode mode);
Interfaces::ITransmitter* CreateTransmitter(Definitions::RuntimeOperationMode mode);

/// Fixes mode 0 unless a mode is fixed already, and creates the transmitter if there is none.
/// Returns 0.
int SetOperationModeForTransmitter();

/// Does the one-time work before the first call out of this runtime. Idempotent and thread-safe.
void AtStartUp();

}  // namespace Ferrolink::Native

#endif
