#include "tests/native/FileProbe.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <optional>
#include <sstream>

namespace FerrolinkTest::FileProbe {
namespace {

struct State {
  std::string prefix;
  std::string directory;
  int error = 0;
  bool onlyReading = false;
  std::vector<std::string> openings;
  bool recordingWrites = false;
  std::vector<std::string> writes;
  std::optional<std::size_t> room;
};

State& state() {
  static State instance;
  return instance;
}

std::string opening(const std::string& path, int flags) {
  std::ostringstream text;
  text << path << " " << std::oct << flags;
  return text.str();
}

/// How many of `size` bytes a file takes.
std::size_t fitting(std::size_t size) {
  if (!state().room) {
    return size;
  }
  const std::size_t fits = std::min(size, *state().room);
  *state().room -= fits;
  return fits;
}

}  // namespace

void redirect(const std::string& prefix, const std::string& directory) {
  state().prefix = prefix;
  state().directory = directory;
}

void fail(const std::string& prefix, int error) {
  state().prefix = prefix;
  state().error = error;
}

void failReading(const std::string& prefix, int error) {
  fail(prefix, error);
  state().onlyReading = true;
}

std::vector<std::string> openings() {
  return state().openings;
}

void leaveRoomFor(std::size_t bytes) {
  state().room = bytes;
}

void leaveRoom() {
  state().room.reset();
}

void recordWrites() {
  state().recordingWrites = true;
}

std::vector<std::string> writes() {
  return state().writes;
}

}  // namespace FerrolinkTest::FileProbe

namespace FileProbe = FerrolinkTest::FileProbe;

namespace {

template <class Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int __real_open(const char* path, int flags, ...);

extern "C" int __wrap_open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  auto& state = FileProbe::state();
  const std::string wanted = path;
  if (state.prefix.empty() || wanted.rfind(state.prefix, 0) != 0) {
    return __real_open(path, flags, mode);
  }
  state.openings.push_back(FileProbe::opening(wanted, flags));
  if (state.error != 0 && (!state.onlyReading || (flags & O_ACCMODE) != O_WRONLY)) {
    errno = state.error;
    return -1;
  }
  return __real_open((state.directory + wanted).c_str(), flags, mode);
}

// The executable's definitions precede the C library's, so the C++ library's streams end up here.
extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void* bytes,
                                                                std::size_t size) {
  static auto* const next = original<ssize_t(int, const void*, std::size_t)>("write");
  auto& state = FileProbe::state();
  if (state.recordingWrites) {
    state.writes.emplace_back(static_cast<const char*>(bytes), size);
  }
  const std::size_t fits = FileProbe::fitting(size);
  if (fits == 0 && size > 0) {
    errno = ENOSPC;
    return -1;
  }
  return next(file, bytes, fits);
}

extern "C" __attribute__((visibility("default"))) ssize_t writev(int file, const iovec* pieces,
                                                                 int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    text.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
  }
  return write(file, text.data(), text.size());
}
