#ifndef FERROLINK_COMPANIONS_CPP_ENDEDTHREAD_H
#define FERROLINK_COMPANIONS_CPP_ENDEDTHREAD_H

#include "ferrolink/protocol/Bytes.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// Must be called when the end of the thread (pthread_exit, cancellation) unwinds through a command
/// with a complete header. Returns if the command came from C++ or over a network.
///
/// If another runtime of this process sent the command, ends the process with a line on standard
/// error. The frames of that runtime are not unwound, and it would use a thread that no longer
/// exists: a JVM crashes when it next walks that thread's stack. The function is called for every
/// command on the stack, from the innermost to the outermost.
void RequireThreadOfCpp(Protocol::ByteView command);

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
