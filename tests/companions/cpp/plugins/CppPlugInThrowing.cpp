#include <ferrolink/CppRuntime.h>

#include <stdexcept>

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* /*table*/) {
  throw std::domain_error("no licence");
}
