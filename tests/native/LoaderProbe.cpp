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

namespace Ferrolink::Tests::LoaderProbe {
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

State& SharedState() {
  static State instance;
  return instance;
}

}  // namespace

std::vector<std::string> Openings() {
  const std::lock_guard lock(SharedState().mutex);
  return SharedState().openings;
}

int Lookups(const std::string& name) {
  const std::lock_guard lock(SharedState().mutex);
  return SharedState().lookups[name];
}

void FailAddressLookups(bool failing) {
  const std::lock_guard lock(SharedState().mutex);
  SharedState().failing = failing;
}

int AddressLookups() {
  const std::lock_guard lock(SharedState().mutex);
  return SharedState().addressLookups;
}

void SetErrorText(const char* text) {
  const std::lock_guard lock(SharedState().mutex);
  SharedState().ownErrorText = true;
  SharedState().hasErrorText = text != nullptr;
  SharedState().errorText = text != nullptr ? text : "";
}

}  // namespace Ferrolink::Tests::LoaderProbe

using Ferrolink::Tests::LoaderProbe::SharedState;

void* __wrap_dlopen(const char* path, int flags) {
  {
    const std::lock_guard lock(SharedState().mutex);
    SharedState().openings.push_back(std::string(path) + " " + std::to_string(flags));
  }
  return __real_dlopen(path, flags);
}

void* __wrap_dlsym(void* library, const char* name) {
  {
    const std::lock_guard lock(SharedState().mutex);
    ++SharedState().lookups[name];
  }
  return __real_dlsym(library, name);
}

int __wrap_dladdr(const void* address, Dl_info* info) {
  {
    const std::lock_guard lock(SharedState().mutex);
    ++SharedState().addressLookups;
    if (SharedState().failing) {
      return 0;
    }
  }
  return __real_dladdr(address, info);
}

char* __wrap_dlerror() {
  const std::lock_guard lock(SharedState().mutex);
  if (!SharedState().ownErrorText) {
    return __real_dlerror();
  }
  return SharedState().hasErrorText ? SharedState().errorText.data() : nullptr;
}
