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

/// What happens to a server: logs what is worth a line, and counts. Never blocks. Any thread.
class Events {
 public:
  /// Both outlive it.
  Events(ServerLog& log, Metrics& metrics) : m_log(log), m_metrics(metrics) {}

  [[nodiscard]] Metrics& GetMetrics() const { return m_metrics; }

  /// A client that was greeted and may send commands.
  void Accepted(const Guest& guest) const;
  /// A connection that was ended before any command.
  void Refused(const Guest& guest, std::string_view why, Refusal kind) const;
  /// A connection that ended otherwise than between frames.
  void Broke(const Guest& guest, std::string_view why) const;
  /// A command that was not begun; its connection goes on or ends. `handler` is empty where it is
  /// not known.
  void NotBegun(const Guest& guest, std::string_view handler, std::string_view why,
                Refusal kind) const;
  /// A command that was executed.
  void Called(const Guest& guest, std::string_view handler, CallResult result,
              std::chrono::nanoseconds duration) const;
  /// A connection was closed to make room for others.
  void Displaced(const Guest& guest) const;
  /// Connections cannot be accepted for a while.
  void CannotAccept(std::string_view why) const;

  /// Certificates, authorities and revocation lists were read again.
  void CertificatesRead() const;
  /// They could not be; those from before stay.
  void CertificatesKept(const std::string& why) const;
  /// Clients will refuse the server's own certificate.
  void CertificateNotValid(const std::string& file, const std::string& why) const;

  /// The grace after the signal is over; that many sessions were still there.
  void Cut(std::size_t sessions) const;
  /// The last connection has ended.
  void Drained() const;

 private:
  ServerLog& m_log;
  Metrics& m_metrics;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
