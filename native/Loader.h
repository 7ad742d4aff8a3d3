#ifndef FERROLINK_NATIVE_LOADER_H
#define FERROLINK_NATIVE_LOADER_H

#include <dlfcn.h>

#include <atomic>
#include <string>

/// The dynamic loader's flags and error text, in one place.
namespace Ferrolink::Native::Loader {

/// All symbols resolved at once, local scope.
inline constexpr int kBindNow = RTLD_NOW;

/// As kBindNow, and the opened library resolves its own symbols before those already in the
/// process. The sanitizers refuse deep binding, so their builds alone leave it out; a test pins 10
/// otherwise.
#if defined(FERROLINK_SANITIZED)
inline constexpr int kBindDeep = RTLD_NOW;
#else
inline constexpr int kBindDeep = RTLD_NOW | RTLD_DEEPBIND;
#endif

/// The loader's last error on this thread, which this call consumes; "unknown loader error" where
/// the loader has none to tell.
inline std::string ErrorText() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown loader error";
}

/// A function of an opened library; null where the library does not export it. A null handle means
/// the process's global symbol scope, as for dlsym.
template <class Function>
Function* FindFunction(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

/// As FindFunction, but finds nothing in a library that is not open.
template <class Function>
Function* FindFunctionIn(void* library, const char* name) {
  return library == nullptr ? nullptr : FindFunction<Function>(library, name);
}

/// Owns one open library and closes it. Any thread may read or replace the handle.
class OwnedLibrary {
 public:
  OwnedLibrary() = default;
  OwnedLibrary(const OwnedLibrary&) = delete;
  OwnedLibrary& operator=(const OwnedLibrary&) = delete;
  ~OwnedLibrary() { Adopt(nullptr); }

  [[nodiscard]] void* get() const { return m_handle.load(std::memory_order_acquire); }

  /// Takes over `handle` and closes the library that was owned before.
  void Adopt(void* handle) {
    if (void* previous = m_handle.exchange(handle, std::memory_order_acq_rel)) {
      dlclose(previous);
    }
  }

 private:
  std::atomic<void*> m_handle{nullptr};
};

}  // namespace Ferrolink::Native::Loader

#endif
