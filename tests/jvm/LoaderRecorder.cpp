#include "tests/jvm/LoaderRecorder.h"

#include <dlfcn.h>

namespace Ferrolink::Tests::LoaderRecorder {
namespace {

std::vector<Opening>& Recorded() {
  static std::vector<Opening> openings;
  return openings;
}

bool errorsSilenced = false;

template <class Function>
Function* LoadersOwn(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Found once, beforehand: looking for a function clears the loader's error text.
auto* const kLoadersOpen = LoadersOwn<void*(const char*, int)>("dlopen");
auto* const kLoadersError = LoadersOwn<char*()>("dlerror");

}  // namespace

const std::vector<Opening>& Openings() {
  return Recorded();
}

void SilenceErrors() {
  errorsSilenced = true;
}

}  // namespace Ferrolink::Tests::LoaderRecorder

namespace LoaderRecorder = Ferrolink::Tests::LoaderRecorder;

extern "C" void* dlopen(const char* path, int flags) noexcept {
  LoaderRecorder::Recorded().push_back({path != nullptr ? path : "(null)", flags});
  return LoaderRecorder::kLoadersOpen(path, flags);
}

extern "C" char* dlerror() noexcept {
  char* text = LoaderRecorder::kLoadersError();
  return LoaderRecorder::errorsSilenced ? nullptr : text;
}
