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

namespace Ferrolink::Tests::FileProbe {
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

State& SharedState() {
  static State instance;
  return instance;
}

std::string Opening(const std::string& path, int flags) {
  std::ostringstream text;
  text << path << " " << std::oct << flags;
  return text.str();
}

/// How many of `size` bytes a file takes.
std::size_t Fitting(std::size_t size) {
  if (!SharedState().room) {
    return size;
  }
  const std::size_t fits = std::min(size, *SharedState().room);
  *SharedState().room -= fits;
  return fits;
}

}  // namespace

void Redirect(const std::string& prefix, const std::string& directory) {
  SharedState().prefix = prefix;
  SharedState().directory = directory;
}

void Fail(const std::string& prefix, int error) {
  SharedState().prefix = prefix;
  SharedState().error = error;
}

void FailReading(const std::string& prefix, int error) {
  Fail(prefix, error);
  SharedState().onlyReading = true;
}

std::vector<std::string> Openings() {
  return SharedState().openings;
}

void LeaveRoomFor(std::size_t bytes) {
  SharedState().room = bytes;
}

void LeaveRoom() {
  SharedState().room.reset();
}

void RecordWrites() {
  SharedState().recordingWrites = true;
}

std::vector<std::string> Writes() {
  return SharedState().writes;
}

}  // namespace Ferrolink::Tests::FileProbe

namespace FileProbe = Ferrolink::Tests::FileProbe;

namespace {

template <class Function>
Function* Original(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int __real_open(const char* path, int flags, ...);

extern "C" int __wrap_open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  auto& state = FileProbe::SharedState();
  const std::string wanted = path;
  if (state.prefix.empty() || wanted.rfind(state.prefix, 0) != 0) {
    return __real_open(path, flags, mode);
  }
  state.openings.push_back(FileProbe::Opening(wanted, flags));
  if (state.error != 0 && (!state.onlyReading || (flags & O_ACCMODE) != O_WRONLY)) {
    errno = state.error;
    return -1;
  }
  return __real_open((state.directory + wanted).c_str(), flags, mode);
}

// The executable's definitions precede the C library's, so the C++ library's streams end up here.
extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void* bytes,
                                                                std::size_t size) {
  static auto* const next = Original<ssize_t(int, const void*, std::size_t)>("write");
  auto& state = FileProbe::SharedState();
  if (state.recordingWrites) {
    state.writes.emplace_back(static_cast<const char*>(bytes), size);
  }
  const std::size_t fits = FileProbe::Fitting(size);
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
