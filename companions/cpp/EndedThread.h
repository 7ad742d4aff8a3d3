#ifndef FERROLINK_COMPANIONS_CPP_ENDEDTHREAD_H
#define FERROLINK_COMPANIONS_CPP_ENDEDTHREAD_H

#include "ferrolink/protocol/Bytes.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// To be called when the end of the thread (pthread_exit, cancellation) unwinds through a command,
/// which has a complete header. Returns if the command came from C++ or over a network.
///
/// If another runtime of this process sent the command, ends the process after a line on standard
/// error: that runtime's frames are not unwound, and it would use a thread that is gone. A JVM
/// crashes when it next walks that thread's stack. This is called for every command on the stack,
/// from the innermost outwards.
void RequireThreadOfCpp(Protocol::ByteView command);

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
