#ifndef FERROLINK_COMPANIONS_CPP_PLUGINLIBRARIES_H
#define FERROLINK_COMPANIONS_CPP_PLUGINLIBRARIES_H

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "native/Loader.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// The plug-in libraries of the process. They register handlers and are never closed. Thread-safe;
/// no lock is held while a plug-in is opened or registers.
class PlugInLibraries {
 public:
  /// The list of this process. Never destroyed: handlers in the plug-ins stay callable.
  static PlugInLibraries& Instance();

  /// Opens the library and calls its registration function, also if the library is open already. A
  /// relative path counts from the current directory. Errors: the finder's 001; CommandRejected if
  /// there is no registration function, in which case the library is closed again, or if the
  /// function returns an error; the function's own exceptions.
  void Load(const std::string& path);

  /// The full paths, one per line.
  [[nodiscard]] std::string Paths() const;

 private:
  struct PlugIn {
    Ferrolink::Native::Loader::OwnedLibrary library;
    std::string path;
  };

  // Guarded by m_mutex. The key is the handle: the loader returns the same one for a second
  // opening.
  mutable std::mutex m_mutex;
  std::map<void*, std::unique_ptr<PlugIn>> m_plugIns;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
