#include "companions/tcp/server/JvmHeap.h"

#include <algorithm>
#include <cstdint>
#include <exception>

#include "ferrolink/LoadedObject.h"
#include "ferrolink/ThreadAttachment.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// The functions that java.lang.Runtime calls. JVMs export them under these names since version 1.2.
// They need an attached thread.
using Bytes = std::int64_t();

std::uint64_t Positive(std::int64_t bytes) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0));
}

}  // namespace

std::optional<Metrics::Heap> JvmHeap() try {
  const Host::LoadedObject library(Host::JvmLibraryPath());
  auto* total = library.Find<Bytes>("JVM_TotalMemory");
  auto* free = library.Find<Bytes>("JVM_FreeMemory");
  auto* most = library.Find<Bytes>("JVM_MaxMemory");
  if (total == nullptr || free == nullptr || most == nullptr) {
    return std::nullopt;
  }
  const Host::ThreadAttachment attached;  // throws if no JVM runs
  const std::uint64_t committed = Positive(total());
  return Metrics::Heap{committed - std::min(committed, Positive(free())), committed,
                       Positive(most())};
} catch (const std::exception&) {
  return std::nullopt;
}

}  // namespace Ferrolink::Companions::Tcp::Server
