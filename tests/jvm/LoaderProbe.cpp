#include "tests/jvm/LoaderProbe.h"

#include <dlfcn.h>

namespace FerrolinkTest::LoaderProbe {
namespace {

std::vector<Opening>& recorded() {
  static std::vector<Opening> openings;
  return openings;
}

bool errorsSilenced = false;

template <class Function>
Function* loadersOwn(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Found once, beforehand: looking for a function clears the loader's error text.
auto* const loadersOpen = loadersOwn<void*(const char*, int)>("dlopen");
auto* const loadersError = loadersOwn<char*()>("dlerror");

}  // namespace

const std::vector<Opening>& openings() {
  return recorded();
}

void silenceErrors() {
  errorsSilenced = true;
}

}  // namespace FerrolinkTest::LoaderProbe

namespace LoaderProbe = FerrolinkTest::LoaderProbe;

extern "C" void* dlopen(const char* path, int flags) noexcept {
  LoaderProbe::recorded().push_back({path != nullptr ? path : "(null)", flags});
  return LoaderProbe::loadersOpen(path, flags);
}

extern "C" char* dlerror() noexcept {
  char* text = LoaderProbe::loadersError();
  return LoaderProbe::errorsSilenced ? nullptr : text;
}
