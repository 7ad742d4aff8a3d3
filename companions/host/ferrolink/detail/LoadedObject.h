#ifndef FERROLINK_HOST_DETAIL_LOADEDOBJECT_H
#define FERROLINK_HOST_DETAIL_LOADEDOBJECT_H

#include <dlfcn.h>
#include <link.h>

#include <climits>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Ferrolink::Host::detail {

/// A program or library that the process has open, kept open by this reference. Empty where the
/// loader knows no such name. Any thread.
class LoadedObject {
 public:
  /// `name` as the loader knows it; the empty name is the program's.
  explicit LoadedObject(const std::string& name)
      : m_handle(dlopen(name.empty() ? nullptr : name.c_str(), RTLD_LAZY | RTLD_NOLOAD)) {}
  LoadedObject(const LoadedObject&) = delete;
  LoadedObject& operator=(const LoadedObject&) = delete;
  ~LoadedObject() {
    if (m_handle != nullptr) {
      dlclose(m_handle);
    }
  }

  /// A function of this object or of one that it depends on; null where there is none.
  template <class Function>
  [[nodiscard]] Function* Find(const char* name) const {
    return m_handle == nullptr ? nullptr : reinterpret_cast<Function*>(dlsym(m_handle, name));
  }

  /// The absolute path by which it was opened, links in it unresolved. A relative one counts from
  /// the directory that was current then. Empty where this is.
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

/// The names by which the loader knows what the process has open, in the order of opening.
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

}  // namespace Ferrolink::Host::detail

#endif
