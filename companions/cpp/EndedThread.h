#ifndef FERROLINK_COMPANIONS_CPP_ENDEDTHREAD_H
#define FERROLINK_COMPANIONS_CPP_ENDEDTHREAD_H

#include "companions/cpp/CommandFrame.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// To be called where the end of the thread (pthread_exit, cancellation) unwinds through a command,
/// which has a complete header. Returns where the command came from C++ or over a network.
///
/// Ends the process, after a line on standard error, where another runtime of this process sent it:
/// that runtime's frames are not unwound, and it would go on with a thread that is gone. A JVM
/// crashes when it next walks that thread's stack. Every command on the stack is asked in turn, so
/// the nearest one from another runtime decides.
void RequireThreadOfCpp(Command command);

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
