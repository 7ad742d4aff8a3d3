#ifndef FERROLINK_NATIVE_LOADER_H
#define FERROLINK_NATIVE_LOADER_H

#include <dlfcn.h>

#include <atomic>
#include <string>

/// The dynamic loader: flags, error text, look-up of functions, and an owner for an open library.
namespace Ferrolink::Native::Loader {

/// Resolves all symbols at once; local scope.
inline constexpr int kBindNow = RTLD_NOW;

/// As kBindNow, and the opened library prefers its own symbols. The sanitizers refuse deep binding,
/// so their builds leave it out. In all other builds the value is 10.
#if defined(FERROLINK_SANITIZED)
inline constexpr int kBindDeep = RTLD_NOW;
#else
inline constexpr int kBindDeep = RTLD_NOW | RTLD_DEEPBIND;
#endif

/// The loader's last error on this thread; reading clears it. "unknown loader error" if the loader
/// has none.
inline std::string ErrorText() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown loader error";
}

/// A function of an open library; null if the library does not export it. As for dlsym, a null
/// handle means the process's global symbol scope.
template <class Function>
Function* FindFunction(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

/// As FindFunction, but null for a null handle.
template <class Function>
Function* FindFunctionIn(void* library, const char* name) {
  return library == nullptr ? nullptr : FindFunction<Function>(library, name);
}

/// Owns one open library and closes it. Thread rule: any thread may read or replace the handle.
class OwnedLibrary {
 public:
  OwnedLibrary() = default;
  OwnedLibrary(const OwnedLibrary&) = delete;
  OwnedLibrary& operator=(const OwnedLibrary&) = delete;
  ~OwnedLibrary() { Adopt(nullptr); }

  [[nodiscard]] void* get() const { return m_handle.load(std::memory_order_acquire); }

  /// Takes ownership of `handle` and closes the previous library.
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
