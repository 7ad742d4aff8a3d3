#ifndef FERROLINK_COMPANIONS_TCP_SERVER_JVMHEAP_H
#define FERROLINK_COMPANIONS_TCP_SERVER_JVMHEAP_H

#include <optional>

#include "companions/tcp/server/Metrics.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The heap of this process's JVM, as java.lang.Runtime sees it; none where no JVM runs, or it does
/// not say. Any thread. Takes as long as the JVM stops its threads, such as for a garbage
/// collection.
std::optional<Metrics::Heap> JvmHeap();

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
