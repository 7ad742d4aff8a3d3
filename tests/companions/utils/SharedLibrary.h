#ifndef FERROLINK_TESTS_COMPANIONS_UTILS_SHAREDLIBRARY_H
#define FERROLINK_TESTS_COMPANIONS_UTILS_SHAREDLIBRARY_H

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace Ferrolink::Tests {

/// A library of the build's installation tree, opened and closed as a host does.
class SharedLibrary {
 public:
  explicit SharedLibrary(const std::string& fileName)
      : m_handle(dlopen((std::string(FERROLINK_NATIVE_DIR "/") + fileName).c_str(),
                        RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) {
      throw std::runtime_error(dlerror());
    }
  }
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  SharedLibrary(SharedLibrary&&) = delete;
  SharedLibrary& operator=(SharedLibrary&&) = delete;
  ~SharedLibrary() { dlclose(m_handle); }

  template <class Function>
  [[nodiscard]] Function* Find(const char* name) const {
    void* function = dlsym(m_handle, name);
    if (function == nullptr) {
      throw std::runtime_error(std::string("no function ") + name);
    }
    return reinterpret_cast<Function*>(function);
  }

 private:
  void* m_handle;
};

}  // namespace Ferrolink::Tests

#endif
