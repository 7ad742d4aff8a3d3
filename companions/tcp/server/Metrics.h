#ifndef FERROLINK_COMPANIONS_TCP_SERVER_METRICS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_METRICS_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace prometheus {
struct MetricFamily;
}

namespace Ferrolink::Companions::Tcp::Server {

/// The result of an executed command.
enum class CallResult { Answered, Failed };

/// Why a connection or a command was refused, without executing anything.
enum class Refusal {
  Greeting,   ///< no client of this kind or version
  Tls,        ///< no handshake, or a certificate that is not accepted
  Rules,      ///< of who may do what
  Command,    ///< malformed, too long, for another runtime, loads a library
  Busy,       ///< as many connections, or as much memory, as there may be
  GoingAway,  ///< the server ends
  TimeOver,   ///< of a call within a time
};

/// Counts events of the server and writes them in the text format of Prometheus.
///
/// Thread-safe. Counting takes no lock, except for the first call of a handler.
class Metrics {
 public:
  struct Heap {
    std::uint64_t used = 0;
    std::uint64_t committed = 0;
    std::uint64_t most = 0;
  };

  /// Sources that are queried when the text is written. Each may be empty; one without a value
  /// returns none, or 0.
  struct Sources {
    std::function<std::uint64_t()> bufferBytes;
    std::function<std::uint64_t()> logLinesLost;
    std::function<bool()> isReady;
    std::function<std::optional<Heap>()> heap;
  };

  /// The limit of handlers with a label of their own. Further ones are counted as "(other)". So are
  /// handlers without a successful call yet, so that no peer can add invented names.
  static constexpr std::size_t kMostHandlers = 64;

  explicit Metrics(Sources sources = {});
  Metrics(const Metrics&) = delete;
  Metrics& operator=(const Metrics&) = delete;
  ~Metrics();

  void ConnectionAccepted();
  void ConnectionClosed();
  void Refused(Refusal why);
  /// Bytes of frames, headers included.
  void Received(std::uint64_t bytes) { m_received.fetch_add(bytes, std::memory_order_relaxed); }
  void Sent(std::uint64_t bytes) { m_sent.fetch_add(bytes, std::memory_order_relaxed); }

  void CallBegan() { m_inFlight.fetch_add(1, std::memory_order_relaxed); }
  /// `handler` is empty for a command that calls none.
  void CallEnded(std::string_view handler, CallResult result, std::chrono::nanoseconds duration);

  /// The whole text. Takes as long as the sources do.
  [[nodiscard]] std::string Text() const;

 private:
  static constexpr std::size_t kSlots = 4 * kMostHandlers;
  static constexpr std::size_t kRefusals = 7;
  struct Handler;
  using Counter = std::atomic<std::uint64_t>;
  using Families = std::vector<prometheus::MetricFamily>;

  Handler& HandlerOf(std::string_view name, CallResult result);
  [[nodiscard]] std::size_t SlotOf(std::string_view name) const;
  void AddConnections(Families& families) const;
  void AddCalls(Families& families) const;
  void AddSources(Families& families) const;

  // Constant after construction.
  const Sources m_sources;
  const std::unique_ptr<Handler> m_other;

  Counter m_accepted{0};
  Counter m_closed{0};
  Counter m_received{0};
  Counter m_sent{0};
  std::atomic<std::int64_t> m_inFlight{0};
  std::array<Counter, kRefusals> m_refused{};

  // A hash table that only grows. Any thread reads; m_growing guards writes.
  std::array<std::atomic<Handler*>, kSlots> m_handlers{};
  std::atomic<bool> m_full{false};
  std::mutex m_growing;
  std::vector<std::unique_ptr<Handler>> m_owned;  ///< guarded by m_growing
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
