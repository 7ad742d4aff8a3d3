/* A plug-in in C: "c twice" answers its payload twice, "c refuse" fails with the payload as text.
 */
#include <ferrolink/cpp_runtime.h>

static int32_t Twice(void* context, const uint8_t* payload, size_t length, ferrolink_reply* reply) {
  int32_t result = reply->append(reply, payload, length);
  (void)context;
  return result != FERROLINK_OK ? result : reply->append(reply, payload, length);
}

static int32_t Refuse(void* context, const uint8_t* payload, size_t length,
                      ferrolink_reply* reply) {
  (void)context;
  reply->fail(reply, (const char*)payload, length);
  return FERROLINK_HANDLER_FAILED;
}

int32_t ferrolink_register_handlers(const ferrolink_registrar* registrar) {
  const ferrolink_handler twice_handler = {Twice, NULL, NULL};
  const ferrolink_handler refuse_handler = {Refuse, NULL, NULL};
  int32_t result = registrar->register_handler("c twice", 7, &twice_handler);
  return result != FERROLINK_OK ? result
                                : registrar->register_handler("c refuse", 8, &refuse_handler);
}
