#ifndef FERROLINK_COMPANIONS_TCP_SERVER_MEMORYTRIM_H
#define FERROLINK_COMPANIONS_TCP_SERVER_MEMORYTRIM_H

#include <malloc.h>

#include <asio/error_code.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>

namespace Ferrolink::Companions::Tcp::Server {

/// Returns freed memory from the C library to the system, one second after it was scheduled.
///
/// Thread rule: the thread of the event loop only.
class MemoryTrim {
 public:
  explicit MemoryTrim(asio::io_context& context) : m_timer(context) {}

  /// Whether a trim is scheduled and has not run yet.
  [[nodiscard]] bool IsDue() const { return m_isDue; }

  /// To be called only if none is due.
  void Schedule() {
    m_isDue = true;
    m_timer.expires_after(std::chrono::seconds(1));
    m_timer.async_wait([this](const asio::error_code& error) {
      m_isDue = false;
      if (!error) {
        malloc_trim(0);
      }
    });
  }

  /// Lets the loop end.
  void Cancel() { m_timer.cancel(); }

 private:
  asio::steady_timer m_timer;
  bool m_isDue = false;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
