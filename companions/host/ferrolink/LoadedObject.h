#ifndef FERROLINK_HOST_LOADEDOBJECT_H
#define FERROLINK_HOST_LOADEDOBJECT_H

#include <dlfcn.h>
#include <link.h>

#include <climits>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Ferrolink::Host {

/// A program or library that the process has open. This object keeps it open:
/// @code
/// const LoadedObject library("/usr/lib/libexample.so");
/// auto* answer = library.Find<int()>("answer");
/// @endcode
/// Empty if the loader knows no such name. Thread-safe.
class LoadedObject {
 public:
  /// `name` is the name in the loader's list, or a path; the empty name is the program itself.
  /// Loads nothing.
  explicit LoadedObject(const std::string& name)
      : m_handle(dlopen(name.empty() ? nullptr : name.c_str(), RTLD_LAZY | RTLD_NOLOAD)) {}
  LoadedObject(const LoadedObject&) = delete;
  LoadedObject& operator=(const LoadedObject&) = delete;
  ~LoadedObject() {
    if (m_handle != nullptr) {
      dlclose(m_handle);
    }
  }

  /// A function of this object or of an object that it depends on; null if there is none, or if
  /// this object is empty. The function is valid while somebody keeps its library open.
  template <class Function>
  [[nodiscard]] Function* Find(const char* name) const {
    return m_handle == nullptr ? nullptr : reinterpret_cast<Function*>(dlsym(m_handle, name));
  }

  /// The absolute path by which the object was opened. Symbolic links are not resolved. A relative
  /// path counts from the directory of that time. Empty if this object is empty.
  [[nodiscard]] std::filesystem::path File() const {
    const link_map* map = nullptr;
    if (m_handle == nullptr || dlinfo(m_handle, RTLD_DI_LINKMAP, static_cast<void*>(&map)) != 0) {
      return {};
    }
    std::filesystem::path name = map->l_name;
    if (name.is_absolute()) {
      return name;
    }
    std::vector<char> directory(std::size_t{2} * PATH_MAX);
    if (dlinfo(m_handle, RTLD_DI_ORIGIN, directory.data()) != 0) {
      return name;
    }
    return std::filesystem::path(directory.data()) / name.filename();
  }

 private:
  void* m_handle;
};

/// The names in the loader's list of open objects, in the order of opening. The first one is the
/// program, whose name is empty:
/// @code
/// for (const std::string& name : LoadedObjects()) {
///   std::puts(LoadedObject(name).File().c_str());
/// }
/// @endcode
/// Thread-safe. Errors: std::bad_alloc.
inline std::vector<std::string> LoadedObjects() {
  std::vector<std::string> names;
  dl_iterate_phdr(
      [](dl_phdr_info* object, std::size_t, void* list) {
        static_cast<std::vector<std::string>*>(list)->emplace_back(object->dlpi_name);
        return 0;
      },
      &names);
  return names;
}

}  // namespace Ferrolink::Host

#endif
