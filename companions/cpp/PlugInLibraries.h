#ifndef FERROLINK_COMPANIONS_CPP_PLUGINLIBRARIES_H
#define FERROLINK_COMPANIONS_CPP_PLUGINLIBRARIES_H

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "native/Loader.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// The plug-in libraries of the process, which bring handlers and are never closed again. Any
/// thread; no lock is held while a plug-in is opened or registers.
class PlugInLibraries {
 public:
  /// The one of this process. Never destroyed: handlers in the plug-ins stay callable.
  static PlugInLibraries& Instance();

  /// Opens the library, a relative path being one to the current directory, and has it register its
  /// handlers; again where it is open already. Errors: the finder's 001; CommandRejected where it
  /// has no registration function, and is closed again, or where that returns an error; what that
  /// throws.
  void Load(const std::string& path);

  /// The full paths, one a line.
  [[nodiscard]] std::string Paths() const;

 private:
  struct PlugIn {
    Ferrolink::Native::Loader::OwnedLibrary library;
    std::string path;
  };

  // Guarded by m_mutex. By handle, which is the same for a library that is opened twice.
  mutable std::mutex m_mutex;
  std::map<void*, std::unique_ptr<PlugIn>> m_plugIns;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
