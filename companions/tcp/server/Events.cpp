#include "companions/tcp/server/Events.h"

namespace Ferrolink::Companions::Tcp::Server {

void Events::Accepted(const Guest& guest) const {
  m_log.Info({.name = "accepted", .peer = guest.client, .subject = guest.Subject()});
}

void Events::Refused(const Guest& guest, std::string_view why, Refusal kind) const {
  NotBegun(guest, {}, why, kind);
}

void Events::Broke(const Guest& guest, std::string_view why) const {
  m_log.Warn({.name = "failed",
              .peer = guest.client,
              .subject = guest.Subject(),
              .reason = "the connection broke: " + std::string(why)});
}

void Events::NotBegun(const Guest& guest, std::string_view handler, std::string_view why,
                      Refusal kind) const {
  m_metrics.Refused(kind);
  m_log.Warn({.name = "refused",
              .peer = guest.client,
              .subject = guest.Subject(),
              .handler = handler,
              .reason = why});
}

void Events::Called(const Guest& guest, std::string_view handler, CallResult result,
                    std::chrono::nanoseconds duration) const {
  m_metrics.CallEnded(handler, result, duration);
  if (m_log.LogsCalls()) {
    m_log.Info({.name = "call",
                .peer = guest.client,
                .subject = guest.Subject(),
                .handler = handler,
                .reason = result == CallResult::Failed ? "failed" : "",
                .duration = std::chrono::duration_cast<std::chrono::microseconds>(duration)});
  }
}

void Events::Displaced(const Guest& guest) const {
  m_log.Warn({.name = "closed",
              .peer = guest.client,
              .subject = guest.Subject(),
              .reason = "closed to make room for other connections"});
}

void Events::CannotAccept(std::string_view why) const {
  m_log.Fail({.name = "failed", .reason = "Cannot accept a connection: " + std::string(why)});
}

void Events::CertificatesRead() const {
  m_log.Info({.name = "certificates",
              .reason = "certificates, authorities and revocation lists were read again"});
}

void Events::CertificatesKept(const std::string& why) const {
  m_log.Fail({.name = "certificates", .reason = why + " What was read before stays in use."});
}

void Events::CertificateNotValid(const std::string& file, const std::string& why) const {
  m_log.Warn({.name = "certificates",
              .reason = "clients will refuse the certificate '" + file + "': " + why});
}

void Events::Cut(std::size_t sessions) const {
  m_log.Warn(
      {.name = "cut",
       .reason = "the grace is over (--shutdown-grace-ms): connections are cut, among them " +
                 std::to_string(sessions) + " with a command"});
}

void Events::Drained() const {
  m_log.Info({.name = "drained"});
}

}  // namespace Ferrolink::Companions::Tcp::Server
