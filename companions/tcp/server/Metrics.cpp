#include "companions/tcp/server/Metrics.h"

#include <algorithm>
#include <utility>

#include "companions/configs/Printable.h"
#include "companions/tcp/server/HandlerMetrics.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

}  // namespace

Metrics::Metrics(Sources sources)
    : m_sources(std::move(sources)), m_other(std::make_unique<Handler>("", "(other)")) {}

Metrics::~Metrics() = default;

void Metrics::ConnectionAccepted() {
  m_accepted.fetch_add(1, kRelaxed);
}

void Metrics::ConnectionClosed() {
  m_closed.fetch_add(1, kRelaxed);
}

void Metrics::Refused(Refusal why) {
  m_refused[static_cast<std::size_t>(why)].fetch_add(1, kRelaxed);
}

void Metrics::CallEnded(std::string_view handler, CallResult result,
                        std::chrono::nanoseconds duration) {
  m_inFlight.fetch_sub(1, kRelaxed);
  HandlerOf(handler, result).Count(result, duration);
}

// The slot of the handler, or the one for inserting it. The table is never full.
std::size_t Metrics::SlotOf(std::string_view name) const {
  std::size_t slot = std::hash<std::string_view>()(name) % kSlots;
  for (;; slot = (slot + 1) % kSlots) {
    const Handler* there = m_handlers[slot].load(std::memory_order_acquire);
    if (there == nullptr || there->name == name) {
      return slot;
    }
  }
}

Metrics::Handler& Metrics::HandlerOf(std::string_view name, CallResult result) {
  if (Handler* known = m_handlers[SlotOf(name)].load(std::memory_order_acquire)) {
    return *known;
  }
  if (name.empty() || result != CallResult::Answered || m_full) {
    return *m_other;
  }
  std::string label = Printable(name);
  const std::lock_guard lock(m_growing);
  auto& slot = m_handlers[SlotOf(name)];
  if (Handler* known = slot.load(std::memory_order_acquire)) {
    return *known;
  }
  if (m_full) {
    return *m_other;
  }
  // A label must not appear twice in the text.
  const bool taken = label == m_other->label ||
                     std::any_of(m_owned.begin(), m_owned.end(),
                                 [&](const auto& handler) { return handler->label == label; });
  if (taken) {
    return *m_other;
  }
  m_owned.push_back(std::make_unique<Handler>(name, std::move(label)));
  m_full = m_owned.size() == kMostHandlers;
  slot.store(m_owned.back().get(), std::memory_order_release);
  return *m_owned.back();
}

}  // namespace Ferrolink::Companions::Tcp::Server
