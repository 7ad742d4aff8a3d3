#include "tests/native/LoaderProbe.h"

#include <dlfcn.h>

#include <map>
#include <mutex>

extern "C" {
void* __real_dlopen(const char* path, int flags);
void* __real_dlsym(void* library, const char* name);
int __real_dladdr(const void* address, Dl_info* info);
char* __real_dlerror();
void* __wrap_dlopen(const char* path, int flags);
void* __wrap_dlsym(void* library, const char* name);
int __wrap_dladdr(const void* address, Dl_info* info);
char* __wrap_dlerror();
}

namespace FerrolinkTest::LoaderProbe {
namespace {

struct State {
  std::mutex mutex;
  std::vector<std::string> openings;
  std::map<std::string, int> lookups;
  int addressLookups = 0;
  bool failing = false;
  bool ownErrorText = false;
  bool hasErrorText = false;
  std::string errorText;
};

State& state() {
  static State instance;
  return instance;
}

}  // namespace

std::vector<std::string> openings() {
  const std::lock_guard lock(state().mutex);
  return state().openings;
}

int lookups(const std::string& name) {
  const std::lock_guard lock(state().mutex);
  return state().lookups[name];
}

void failAddressLookups(bool failing) {
  const std::lock_guard lock(state().mutex);
  state().failing = failing;
}

int addressLookups() {
  const std::lock_guard lock(state().mutex);
  return state().addressLookups;
}

void setErrorText(const char* text) {
  const std::lock_guard lock(state().mutex);
  state().ownErrorText = true;
  state().hasErrorText = text != nullptr;
  state().errorText = text != nullptr ? text : "";
}

}  // namespace FerrolinkTest::LoaderProbe

using FerrolinkTest::LoaderProbe::state;

void* __wrap_dlopen(const char* path, int flags) {
  {
    const std::lock_guard lock(state().mutex);
    state().openings.push_back(std::string(path) + " " + std::to_string(flags));
  }
  return __real_dlopen(path, flags);
}

void* __wrap_dlsym(void* library, const char* name) {
  {
    const std::lock_guard lock(state().mutex);
    ++state().lookups[name];
  }
  return __real_dlsym(library, name);
}

int __wrap_dladdr(const void* address, Dl_info* info) {
  {
    const std::lock_guard lock(state().mutex);
    ++state().addressLookups;
    if (state().failing) {
      return 0;
    }
  }
  return __real_dladdr(address, info);
}

char* __wrap_dlerror() {
  const std::lock_guard lock(state().mutex);
  if (!state().ownErrorText) {
    return __real_dlerror();
  }
  return state().hasErrorText ? state().errorText.data() : nullptr;
}
