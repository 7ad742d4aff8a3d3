#include "companions/tcp/server/Events.h"

namespace Ferrolink::Companions::Tcp::Server {

void Events::accepted(const Guest& guest) const {
  m_log.info({.name = "accepted", .peer = guest.client, .subject = guest.subject()});
}

void Events::refused(const Guest& guest, std::string_view why, Refusal kind) const {
  notBegun(guest, {}, why, kind);
}

void Events::broke(const Guest& guest, std::string_view why) const {
  m_log.warn({.name = "failed",
              .peer = guest.client,
              .subject = guest.subject(),
              .reason = "the connection broke: " + std::string(why)});
}

void Events::notBegun(const Guest& guest, std::string_view handler, std::string_view why,
                      Refusal kind) const {
  m_metrics.refused(kind);
  m_log.warn({.name = "refused",
              .peer = guest.client,
              .subject = guest.subject(),
              .handler = handler,
              .reason = why});
}

void Events::called(const Guest& guest, std::string_view handler, CallResult result,
                    std::chrono::nanoseconds duration) const {
  m_metrics.callEnded(handler, result, duration);
  if (m_log.logsCalls()) {
    m_log.info({.name = "call",
                .peer = guest.client,
                .subject = guest.subject(),
                .handler = handler,
                .reason = result == CallResult::Failed ? "failed" : "",
                .duration = std::chrono::duration_cast<std::chrono::microseconds>(duration)});
  }
}

void Events::displaced(const Guest& guest) const {
  m_log.warn({.name = "closed",
              .peer = guest.client,
              .subject = guest.subject(),
              .reason = "closed to make room for other connections"});
}

void Events::cannotAccept(std::string_view why) const {
  m_log.fail({.name = "failed", .reason = "Cannot accept a connection: " + std::string(why)});
}

void Events::certificatesRead() const {
  m_log.info({.name = "certificates",
              .reason = "certificates, authorities and revocation lists were read again"});
}

void Events::certificatesKept(const std::string& why) const {
  m_log.fail({.name = "certificates", .reason = why + " What was read before stays in use."});
}

void Events::certificateNotValid(const std::string& file, const std::string& why) const {
  m_log.warn({.name = "certificates",
              .reason = "clients will refuse the certificate '" + file + "': " + why});
}

void Events::cut(std::size_t sessions) const {
  m_log.warn(
      {.name = "cut",
       .reason = "the grace is over (--shutdown-grace-ms): connections are cut, among them " +
                 std::to_string(sessions) + " with a command"});
}

void Events::drained() const {
  m_log.info({.name = "drained"});
}

}  // namespace Ferrolink::Companions::Tcp::Server
