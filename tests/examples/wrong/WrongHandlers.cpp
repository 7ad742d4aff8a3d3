// Wrong C++ handlers, which the examples must detect: one gives a wrong answer, one does not call
// back.
#include <ferrolink/CppRuntime.h>

using Ferrolink::Cpp::Bytes;

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  const Ferrolink::Cpp::Registrar registrar(table);
  registrar.Register("crc-32", [](auto /*bytes*/) { return Bytes(4); });
  registrar.Register("search", [](auto /*text*/) { return Bytes(); });
  return FERROLINK_OK;
}
