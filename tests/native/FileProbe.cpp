#include "tests/native/FileProbe.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdio>

namespace FerrolinkTest::FileProbe {
namespace {

struct State {
  std::string prefix;
  std::string directory;
  int error = 0;
  std::vector<std::string> openings;
};

State& state() {
  static State instance;
  return instance;
}

}  // namespace

void redirect(const std::string& prefix, const std::string& directory) {
  state() = {prefix, directory, 0, {}};
}

void fail(const std::string& prefix, int error) {
  state() = {prefix, "", error, {}};
}

std::vector<std::string> openings() {
  return state().openings;
}

}  // namespace FerrolinkTest::FileProbe

// The executable's definition precedes the C library's, so the C++ library's streams end up here.
extern "C" __attribute__((visibility("default"))) std::FILE* fopen64(const char* path,
                                                                     const char* mode) {
  using Open = std::FILE*(const char*, const char*);
  static auto* const open = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "fopen64"));
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
