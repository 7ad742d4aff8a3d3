// The names that the library keeps to itself, as a host might use them for its own purposes.
#include <cstdlib>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "tests/fakes/host/HostNames.h"
#include "tests/support/ProcessCase.h"

void CalledHost(const char* name) {
  Ferrolink::Tests::Report(std::string("host: ") + name);
  std::abort();
}

// Small integers where the library has pointers: whoever follows one crashes.
#pragma GCC visibility push(default)
long receiver = 1;
long transmitter = 2;
long operationMode = 1;
long javaEnv = 3;
long callbackJavaVM = 4;
long sendCommandCallbackObject = 5;
long sendCommandCallbackMethod = 6;
long threadJniEnv = 7;
long errorMessage = 8;
long firstCall = 1;
long isCopy = 0;
std::shared_mutex createReceiverMutex;
std::mutex initializationMutex;
#pragma GCC visibility pop
