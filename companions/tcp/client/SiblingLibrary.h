#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_SIBLINGLIBRARY_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_SIBLINGLIBRARY_H

#include <dlfcn.h>

#include <string>

namespace Ferrolink::Companions::Tcp::Client {

/// Another library of the installation, opened from the directory of this one. Stays open until the
/// process ends.
class SiblingLibrary {
 public:
  explicit SiblingLibrary(const std::string& file);

  [[nodiscard]] bool IsOpen() const { return m_handle != nullptr; }
  /// Why it is not open.
  [[nodiscard]] const std::string& Reason() const { return m_reason; }

  /// An exported function, or null.
  template <class Function>
  [[nodiscard]] Function* Find(const char* name) const {
    return m_handle == nullptr ? nullptr : reinterpret_cast<Function*>(dlsym(m_handle, name));
  }

 private:
  void* m_handle = nullptr;
  std::string m_reason;
};

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
