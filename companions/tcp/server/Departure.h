#ifndef FERROLINK_COMPANIONS_TCP_SERVER_DEPARTURE_H
#define FERROLINK_COMPANIONS_TCP_SERVER_DEPARTURE_H

#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <system_error>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Tells all sessions at once that the server shuts down. Thread-safe.
class Departure {
 public:
  /// Errors: std::system_error.
  Departure() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_event.Owns()) {
      throw std::system_error(errno, std::system_category(), "Cannot make an eventfd");
    }
  }

  void Begin() {
    m_begun.store(true);
    eventfd_write(m_event.get(), 1);
  }
  [[nodiscard]] bool HasBegun() const { return m_begun.load(); }
  /// A descriptor that is readable once Begin was called.
  [[nodiscard]] int Descriptor() const { return m_event.get(); }

 private:
  const FileDescriptor m_event;
  std::atomic<bool> m_begun{false};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
