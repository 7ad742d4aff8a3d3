#include <ferrolink/cpp_runtime.h>

int32_t ferrolink_register_handlers(const ferrolink_registrar* registrar) {
  return registrar->version == FERROLINK_REGISTRAR_VERSION ? FERROLINK_OK
                                                           : FERROLINK_INVALID_ARGUMENT;
}
