/* What the foreign-function interfaces of Java call: copies the bytes that it is given. */
#include <stdint.h>
#include <string.h>

__attribute__((visibility("default"))) int32_t bench_echo(const uint8_t* message, int32_t length,
                                                          uint8_t* answer);

int32_t bench_echo(const uint8_t* message, int32_t length, uint8_t* answer) {
  memcpy(answer, message, (size_t)length);
  return length;
}
