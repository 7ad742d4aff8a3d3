#ifndef FERROLINK_NATIVE_ROLESINGLETONS_H
#define FERROLINK_NATIVE_ROLESINGLETONS_H

#include <atomic>
#include <mutex>
#include <shared_mutex>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

/// The process-wide roles of a member of the family: one receiver, one transmitter, and the
/// operation mode that the first creator fixes. Hidden, never freed. Each member's entry layer
/// exports functions over these and supplies the two makers.
namespace Ferrolink::Native {

/// Fixed by the first creator of a role and never changed afterwards. Read without a lock.
extern std::atomic<Definitions::RuntimeOperationMode> operationMode;

/// Whether AtStartUp still has its one-time work to do. Not guarded: a double run is harmless.
extern std::atomic<bool> firstCall;

/// Created under a lock, read without one, never deleted.
extern std::atomic<Interfaces::IReceiver*> receiver;
extern std::atomic<Interfaces::ITransmitter*> transmitter;

/// Taken exclusively by the creators of both roles, so that whichever role comes first fixes the
/// mode that the other one sees.
extern std::shared_mutex createReceiverMutex;

/// Taken by nothing: the transmitter's creation shares createReceiverMutex on purpose.
extern std::shared_mutex createTransmitterMutex;

/// Taken exclusively by SetOperationModeForTransmitter, which thereby serialises against itself
/// only, not against CreateTransmitter.
extern std::shared_mutex setOperationModeForTransmitterMutex;

/// Serialises channel initialisation in all in-memory transports of the process.
extern std::mutex initializationMutex;

/// The member's own role classes; supplied by its entry layer. Errors pass through the creators.
Interfaces::IReceiver* MakeReceiver(Definitions::RuntimeOperationMode mode);
Interfaces::ITransmitter* MakeTransmitter(Definitions::RuntimeOperationMode mode);

/// Never null. `mode` counts only for the first creator of either role. A creator that is entered
/// again on the same thread fails with std::system_error.
Interfaces::IReceiver* CreateReceiver(Definitions::RuntimeOperationMode mode);
Interfaces::ITransmitter* CreateTransmitter(Definitions::RuntimeOperationMode mode);

/// Settles mode 0 and makes the transmitter where neither is settled yet. Returns 0.
int SetOperationModeForTransmitter();

/// What the first call out of this runtime has to do before it.
void AtStartUp();

}  // namespace Ferrolink::Native

#endif
