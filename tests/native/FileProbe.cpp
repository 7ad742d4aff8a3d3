#include "tests/native/FileProbe.h"

#include <dlfcn.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace FerrolinkTest::FileProbe {
namespace {

struct State {
  std::string prefix;
  std::string directory;
  int error = 0;
  std::vector<std::string> openings;
  bool recordingWrites = false;
  std::vector<std::string> writes;
};

State& state() {
  static State instance;
  return instance;
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

std::vector<std::string> openings() {
  return state().openings;
}

void recordWrites() {
  state().recordingWrites = true;
}

std::vector<std::string> writes() {
  return state().writes;
}

}  // namespace FerrolinkTest::FileProbe

namespace {

template <class Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The executable's definitions precede the C library's, so the C++ library's streams end up here.
extern "C" __attribute__((visibility("default"))) std::FILE* fopen64(const char* path,
                                                                     const char* mode) {
  static auto* const open = original<std::FILE*(const char*, const char*)>("fopen64");
  auto& state = FerrolinkTest::FileProbe::state();
  const std::string wanted = path;
  if (state.prefix.empty() || wanted.rfind(state.prefix, 0) != 0) {
    return open(path, mode);
  }
  state.openings.push_back(wanted + " " + mode);
  if (state.error != 0) {
    errno = state.error;
    return nullptr;
  }
  return open((state.directory + wanted).c_str(), mode);
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void* bytes,
                                                                std::size_t size) {
  static auto* const next = original<ssize_t(int, const void*, std::size_t)>("write");
  auto& state = FerrolinkTest::FileProbe::state();
  if (state.recordingWrites) {
    state.writes.emplace_back(static_cast<const char*>(bytes), size);
  }
  return next(file, bytes, size);
}

extern "C" __attribute__((visibility("default"))) ssize_t writev(int file, const iovec* pieces,
                                                                 int count) {
  static auto* const next = original<ssize_t(int, const iovec*, int)>("writev");
  auto& state = FerrolinkTest::FileProbe::state();
  if (state.recordingWrites) {
    std::string text;
    for (int i = 0; i < count; ++i) {
      text.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
    }
    state.writes.push_back(text);
  }
  return next(file, pieces, count);
}
