// The C table over the handler registry. No exception leaves it; errors are result codes.
#include "companions/cpp/Registrar.h"

#include <cstddef>
#include <cstdint>
#include <new>

#include "companions/cpp/HandlerRegistry.h"

namespace {

using Ferrolink::Runtimes::Cpp::Native::HandlerRegistry;

bool IsName(const char* name, std::size_t length) {
  return name != nullptr && length > 0 && length <= FERROLINK_LONGEST_NAME;
}

std::int32_t RegisterHandler(const char* name, std::size_t length,
                             const ferrolink_handler* handler) {
  if (!IsName(name, length) || handler == nullptr || handler->call == nullptr) {
    return FERROLINK_INVALID_ARGUMENT;
  }
  try {
    HandlerRegistry::Instance().Add({name, length}, *handler);
    return FERROLINK_OK;
  } catch (const std::bad_alloc&) {
    return FERROLINK_OUT_OF_MEMORY;
  }
}

std::int32_t UnregisterHandler(const char* name, std::size_t length) {
  if (!IsName(name, length)) {
    return FERROLINK_INVALID_ARGUMENT;
  }
  return HandlerRegistry::Instance().Remove({name, length}) ? FERROLINK_OK : FERROLINK_NOT_FOUND;
}

constexpr ferrolink_registrar kTable = {FERROLINK_REGISTRAR_VERSION, sizeof(ferrolink_registrar),
                                        RegisterHandler, UnregisterHandler};

}  // namespace

const ferrolink_registrar* ferrolink_get_registrar(std::uint32_t version) {
  return version == FERROLINK_REGISTRAR_VERSION ? &kTable : nullptr;
}
