#ifndef FERROLINK_TESTS_COMPANIONS_UTILS_SHAREDLIBRARY_H
#define FERROLINK_TESTS_COMPANIONS_UTILS_SHAREDLIBRARY_H

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace Ferrolink::Tests {

/// A library of the build's installation tree, opened as a host opens it and closed again.
class SharedLibrary {
 public:
  explicit SharedLibrary(const std::string& fileName)
      : handle(dlopen((std::string(FERROLINK_NATIVE_DIR "/") + fileName).c_str(),
                      RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) {
      throw std::runtime_error(dlerror());
    }
  }
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  SharedLibrary(SharedLibrary&&) = delete;
  SharedLibrary& operator=(SharedLibrary&&) = delete;
  ~SharedLibrary() { dlclose(handle); }

  template <class Function>
  [[nodiscard]] Function* find(const char* name) const {
    void* function = dlsym(handle, name);
    if (function == nullptr) {
      throw std::runtime_error(std::string("no function ") + name);
    }
    return reinterpret_cast<Function*>(function);
  }

 private:
  void* handle;
};

}  // namespace Ferrolink::Tests

#endif
