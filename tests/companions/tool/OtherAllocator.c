// An allocator that is preloaded. It leaves the work to that of the C library.
#include <stddef.h>

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* block, size_t size);
extern void __libc_free(void* block);

void* malloc(size_t size) {
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
  return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  return __libc_realloc(block, size);
}
void free(void* block) {
  __libc_free(block);
}
