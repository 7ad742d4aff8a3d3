#include "companions/tcp/server/Events.h"

#include <cstdio>

namespace Ferrolink::Companions::Tcp::Server::Events {

void line(const std::string& text) {
  const std::string whole = "ferrolink-server: " + text + "\n";
  static_cast<void>(std::fwrite(whole.data(), 1, whole.size(), stderr));
}

void refused(const std::string& client, const std::string& why) {
  line(client + ": refused: " + why);
}

void broke(const std::string& client, const std::string& why) {
  line(client + ": the connection broke: " + why);
}

void notBegun(const std::string& client, const std::string& why) {
  line(client + ": a command was not begun: " + why);
}

void displaced(const std::string& client) {
  line(client + ": closed to make room for other connections");
}

void cannotAccept(const std::string& why) {
  line("Cannot accept a connection: " + why);
}

void certificatesRead() {
  line("certificates, authorities and revocation lists were read again");
}

void certificatesKept(const std::string& why) {
  line(why + " What was read before stays in use.");
}

void certificateNotValid(const std::string& file, const std::string& why) {
  line("clients will refuse the certificate '" + file + "': " + why);
}

void cut(std::size_t sessions) {
  line("the grace is over (--shutdown-grace-ms): connections are cut, among them " +
       std::to_string(sessions) + " with a command");
}

void abandoned(std::size_t sessions) {
  line(std::to_string(sessions) + " commands do not end; the process ends without them");
}

}  // namespace Ferrolink::Companions::Tcp::Server::Events
