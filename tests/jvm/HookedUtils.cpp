// A utilities library whose LogMessage calls what the test put in its place.
#define EXPORTED extern "C" __attribute__((visibility("default")))

using Hook = void(const char*, const char*, const char*);

namespace {
Hook* hook = nullptr;
}

EXPORTED void HookedUtilsSetHook(Hook* newHook) {
  hook = newHook;
}

EXPORTED void LogMessage(const char* first, const char* second, const char* third) {
  if (hook != nullptr) {
    hook(first, second, third);
  }
}
