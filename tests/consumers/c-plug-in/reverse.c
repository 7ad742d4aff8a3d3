#include <ferrolink/cpp_runtime.h>

static int32_t Reverse(void* context, const uint8_t* payload, size_t length, ferrolink_reply* reply) {
  (void)context;
  for (size_t i = length; i > 0; --i) {
    const int32_t result = reply->append(reply, &payload[i - 1], 1);
    if (result != FERROLINK_OK) {
      return result;
    }
  }
  return FERROLINK_OK;
}

int32_t ferrolink_register_handlers(const ferrolink_registrar* registrar) {
  const ferrolink_handler handler = {Reverse, 0, 0};
  return registrar->register_handler("reverse", 7, &handler);
}
