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

/// Whether atStartUp still has its one-time work to do. Not guarded: a double run is harmless.
extern std::atomic<bool> firstCall;

/// Created under a lock, read without one, never deleted.
extern std::atomic<Interfaces::IReceiver*> receiver;
extern std::atomic<Interfaces::ITransmitter*> transmitter;

/// Taken exclusively by the creators of both roles, so that whichever role comes first fixes the
/// mode that the other one sees.
extern std::shared_mutex createReceiverMutex;

/// Taken by nothing: the transmitter's creation shares createReceiverMutex on purpose.
extern std::shared_mutex createTransmitterMutex;

/// Taken exclusively by setOperationModeForTransmitter, which thereby serialises against itself
/// only, not against createTransmitter.
extern std::shared_mutex setOperationModeForTransmitterMutex;

/// Serialises channel initialisation in all in-memory transports of the process.
extern std::mutex initializationMutex;

/// The member's own role classes; supplied by its entry layer. Errors pass through the creators.
Interfaces::IReceiver* makeReceiver(Definitions::RuntimeOperationMode mode);
Interfaces::ITransmitter* makeTransmitter(Definitions::RuntimeOperationMode mode);

/// Never null. `mode` counts only for the first creator of either role. A creator that is entered
/// again on the same thread fails with std::system_error.
Interfaces::IReceiver* createReceiver(Definitions::RuntimeOperationMode mode);
Interfaces::ITransmitter* createTransmitter(Definitions::RuntimeOperationMode mode);

/// Settles mode 0 and makes the transmitter where neither is settled yet. Returns 0.
int setOperationModeForTransmitter();

/// What the first call out of this runtime has to do before it.
void atStartUp();

}  // namespace Ferrolink::Native

#endif
