// Registers "plug-in upper", and "plug-in count", which counts the registrations.
#include <ferrolink/CppRuntime.h>

#include <atomic>
#include <cctype>

using Ferrolink::Cpp::Bytes;

namespace {

std::atomic<int> registrations{0};

Bytes Upper(std::span<const std::uint8_t> bytes) {
  Bytes answer;
  for (const std::uint8_t byte : bytes) {
    answer.push_back(static_cast<std::uint8_t>(std::toupper(byte)));
  }
  return answer;
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  ++registrations;
  const Ferrolink::Cpp::Registrar registrar(table);
  registrar.Register("plug-in upper", Upper);
  registrar.Register("plug-in count", [](std::span<const std::uint8_t>) {
    return Ferrolink::Cpp::ToBytes(std::to_string(registrations));
  });
  return FERROLINK_OK;
}
