// Registers "kept" and then reports a failure.
#include <ferrolink/CppRuntime.h>

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  Ferrolink::Cpp::Registrar(table).Register(
      "kept", [](std::span<const std::uint8_t>) { return Ferrolink::Cpp::ToBytes("still here"); });
  return -7;
}
