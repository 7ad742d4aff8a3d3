#ifndef FERROLINK_COMPANIONS_TCP_SERVER_JVMHEAP_H
#define FERROLINK_COMPANIONS_TCP_SERVER_JVMHEAP_H

#include <optional>

#include "companions/tcp/server/Metrics.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The heap of this process's JVM, as java.lang.Runtime reports it; none without a JVM or without
/// an answer. Thread-safe. Blocks while the JVM stops its threads, for example for a garbage
/// collection.
std::optional<Metrics::Heap> JvmHeap();

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
