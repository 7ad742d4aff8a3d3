#ifndef FERROLINK_COMPANIONS_TCP_SERVER_EVENTS_H
#define FERROLINK_COMPANIONS_TCP_SERVER_EVENTS_H

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "companions/tcp/server/Guest.h"
#include "companions/tcp/server/Metrics.h"
#include "companions/tcp/server/ServerLog.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The events of a server: logs and counts them. Never blocks. Thread-safe.
class Events {
 public:
  /// Both must outlive it.
  Events(ServerLog& log, Metrics& metrics) : m_log(log), m_metrics(metrics) {}

  [[nodiscard]] Metrics& GetMetrics() const { return m_metrics; }

  /// A client was greeted and may send commands.
  void Accepted(const Guest& guest) const;
  /// A connection was ended before its first command.
  void Refused(const Guest& guest, std::string_view why, Refusal kind) const;
  /// A connection ended inside a frame.
  void Broke(const Guest& guest, std::string_view why) const;
  /// A command was not begun. `handler` is empty if it is unknown.
  void NotBegun(const Guest& guest, std::string_view handler, std::string_view why,
                Refusal kind) const;
  /// A command was executed.
  void Called(const Guest& guest, std::string_view handler, CallResult result,
              std::chrono::nanoseconds duration) const;
  /// A connection was closed to make room for others.
  void Displaced(const Guest& guest) const;
  /// Connections cannot be accepted for a while.
  void CannotAccept(std::string_view why) const;

  /// Certificates, authorities and revocation lists were read again.
  void CertificatesRead() const;
  /// Reading them again failed; the previous ones stay.
  void CertificatesKept(const std::string& why) const;
  /// Clients will refuse the server's own certificate.
  void CertificateNotValid(const std::string& file, const std::string& why) const;

  /// The grace period is over with that many running sessions.
  void Cut(std::size_t sessions) const;
  /// The last connection has ended.
  void Drained() const;

 private:
  ServerLog& m_log;
  Metrics& m_metrics;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
