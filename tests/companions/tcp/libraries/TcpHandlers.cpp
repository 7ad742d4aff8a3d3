// The handlers of the tests' server.
#include <ferrolink/CppRuntime.h>
#include <pthread.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace {

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::ToBytes;
using Ferrolink::Cpp::ToText;
using Span = std::span<const std::uint8_t>;

Bytes Echo(Span payload) {
  return {payload.begin(), payload.end()};
}

// Writes to one pipe that it runs, and waits for the other. The payload has both paths, one per
// line.
Bytes Wait(Span payload) {
  const std::string paths = ToText(payload);
  const auto end = paths.find('\n');
  std::ofstream(paths.substr(0, end)) << "running\n";
  std::string line;
  std::ifstream other(paths.substr(end + 1));
  std::getline(other, line);
  return ToBytes(line);
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  const Ferrolink::Cpp::Registrar registrar(table);
  registrar.Register("echo", Echo);
  registrar.Register("wait", Wait);
  registrar.Register("refuse", [](Span payload) -> Bytes {
    throw std::invalid_argument("refused: " + ToText(payload));
  });
  registrar.Register("bytes", [](Span payload) { return Bytes(std::stoul(ToText(payload)), 'b'); });
  registrar.Register("end-process", [](Span) -> Bytes { _exit(9); });
  registrar.Register("end-thread", [](Span) -> Bytes { pthread_exit(nullptr); });
  return FERROLINK_OK;
}
