// A plug-in library for the C++ member. Its handler "echo" answers with its payload.
#include <ferrolink/CppRuntime.h>

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  Ferrolink::Cpp::Registrar(table).Register("echo", [](std::span<const std::uint8_t> bytes) {
    return Ferrolink::Cpp::Bytes(bytes.begin(), bytes.end());
  });
  return FERROLINK_OK;
}
