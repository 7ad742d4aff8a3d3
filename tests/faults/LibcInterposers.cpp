// The executable's own definitions of functions of the C library, which the loader finds first for
// every library in the process. Each fails where it is to, and goes on to the C library otherwise.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

#include "tests/faults/LibcFaultGate.h"

using Ferrolink::Tests::IsCounting;
using Ferrolink::Tests::IsToFail;
using Ferrolink::Tests::LibcCall;
using Ferrolink::Tests::NoteSleep;

#define INTERPOSED __attribute__((visibility("default"))) FERROLINK_INTERPOSER

namespace {

using DlSym = void*(void*, const char*);

// By version, since the plain look-up would find the definition below.
DlSym* RealDlsym() {
  static auto* const real = reinterpret_cast<DlSym*>(dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.2.5"));
  return real;
}

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(RealDlsym()(RTLD_NEXT, name));
}

// The C library's own word for a failed open: this process has too many files open.
FERROLINK_INTERPOSER bool FailsToOpen() {
  const bool fails = IsToFail(LibcCall::Open);
  errno = fails ? EMFILE : errno;
  return fails;
}

FERROLINK_INTERPOSER bool FailsToWrite() {
  const bool fails = IsToFail(LibcCall::Write);
  errno = fails ? ENOSPC : errno;
  return fails;
}

}  // namespace

#define REAL(name) static auto* const next = real<decltype(::name)>(#name)

extern "C" {

void* __libc_malloc(std::size_t size);                     // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, std::size_t size);       // NOLINT(bugprone-reserved-identifier)

INTERPOSED void* malloc(std::size_t size) noexcept {
  if (IsToFail(LibcCall::Allocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_malloc(size);
}

INTERPOSED void* calloc(std::size_t count, std::size_t size) noexcept {
  if (IsToFail(LibcCall::Allocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_calloc(count, size);
}

INTERPOSED void* realloc(void* block, std::size_t size) noexcept {
  if (IsToFail(LibcCall::Allocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_realloc(block, size);
}

// What fails is asked for in a way that the loader refuses, so that it has an error text.
INTERPOSED void* dlopen(const char* file, int flags) noexcept {
  REAL(dlopen);
  return next(IsToFail(LibcCall::DlOpen) ? "/no/such/library.so" : file, flags);
}

INTERPOSED void* dlsym(void* library, const char* name) noexcept {
  return RealDlsym()(library, IsToFail(LibcCall::DlSym) ? "no such function" : name);
}

INTERPOSED int open(const char* file, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, mode_t);
  va_end(arguments);
  REAL(open);
  return FailsToOpen() ? -1 : next(file, flags, mode);
}

INTERPOSED int open64(const char* file, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, mode_t);
  va_end(arguments);
  REAL(open64);
  return FailsToOpen() ? -1 : next(file, flags, mode);
}

INTERPOSED int openat(int directory, const char* file, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, mode_t);
  va_end(arguments);
  REAL(openat);
  return FailsToOpen() ? -1 : next(directory, file, flags, mode);
}

INTERPOSED DIR* opendir(const char* directory) {
  REAL(opendir);
  return FailsToOpen() ? nullptr : next(directory);
}

INTERPOSED std::FILE* fopen(const char* file, const char* mode) {
  REAL(fopen);
  return FailsToOpen() ? nullptr : next(file, mode);
}

INTERPOSED std::FILE* fopen64(const char* file, const char* mode) {
  REAL(fopen64);
  return FailsToOpen() ? nullptr : next(file, mode);
}

INTERPOSED ssize_t write(int file, const void* bytes, std::size_t size) {
  REAL(write);
  return FailsToWrite() ? -1 : next(file, bytes, size);
}

INTERPOSED ssize_t writev(int file, const iovec* parts, int count) {
  REAL(writev);
  return FailsToWrite() ? -1 : next(file, parts, count);
}

INTERPOSED std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count,
                              std::FILE* file) {
  REAL(fwrite);
  return FailsToWrite() ? 0 : next(bytes, size, count, file);
}

INTERPOSED int fflush(std::FILE* file) {
  REAL(fflush);
  return FailsToWrite() ? EOF : next(file);
}

INTERPOSED int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) noexcept {
  REAL(pthread_create);
  return IsToFail(LibcCall::ThreadCreate) ? EAGAIN : next(thread, attributes, body, argument);
}

// A sleep that ends at once, and a barrier that the kernel refuses.
INTERPOSED long syscall(long number, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, number);
  long given[6];  // NOLINT(modernize-avoid-c-arrays)
  for (long& argument : given) {
    argument = va_arg(arguments, long);
  }
  va_end(arguments);
  const bool sleeps = number == SYS_futex && given[1] == FUTEX_WAIT_PRIVATE;
  if (sleeps) {
    NoteSleep();
  }
  if ((sleeps || number == SYS_membarrier) && IsToFail(LibcCall::Syscall)) {
    errno = number == SYS_futex ? EINTR : ENOSYS;
    return -1;
  }
  REAL(syscall);
  return next(number, given[0], given[1], given[2], given[3], given[4], given[5]);
}

INTERPOSED int nanosleep(const timespec* time, timespec* rest) {
  REAL(nanosleep);
  return IsCounting() ? 0 : next(time, rest);
}

}  // extern "C"

namespace {

FERROLINK_INTERPOSER void* allocate(std::size_t size) {
  if (IsToFail(LibcCall::Allocation)) {
    return nullptr;
  }
  return __libc_malloc(size == 0 ? 1 : size);
}

FERROLINK_INTERPOSER void* AllocateOrThrow(std::size_t size) {
  if (void* block = allocate(size)) {
    return block;
  }
  throw std::bad_alloc();
}

}  // namespace

INTERPOSED void* operator new(std::size_t size) {
  return AllocateOrThrow(size);
}
INTERPOSED void* operator new[](std::size_t size) {
  return AllocateOrThrow(size);
}
INTERPOSED void* operator new(std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept {
  return allocate(size);
}
INTERPOSED void* operator new[](std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept {
  return allocate(size);
}
INTERPOSED void* operator new(std::size_t size, std::align_val_t alignment) {
  const auto unit = static_cast<std::size_t>(alignment);
  void* block = IsToFail(LibcCall::Allocation)
                    ? nullptr
                    : std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
  return block != nullptr ? block : throw std::bad_alloc();
}
INTERPOSED void operator delete(void* block, std::align_val_t /*alignment*/) noexcept {
  std::free(block);
}
INTERPOSED void operator delete(void* block, std::size_t /*size*/,
                                std::align_val_t /*alignment*/) noexcept {
  std::free(block);
}
INTERPOSED void operator delete(void* block) noexcept {
  std::free(block);
}
INTERPOSED void operator delete[](void* block) noexcept {
  std::free(block);
}
INTERPOSED void operator delete(void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}
INTERPOSED void operator delete[](void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}
