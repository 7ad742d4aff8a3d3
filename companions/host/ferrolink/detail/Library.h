#ifndef FERROLINK_HOST_DETAIL_LIBRARY_H
#define FERROLINK_HOST_DETAIL_LIBRARY_H

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ferrolink/Errors.h"
#include "ferrolink/detail/LoadedObject.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Host::detail {

inline constexpr const char* kLibraryName = "libFerrolinkJvmRuntimeNative.so";
inline constexpr const char* kNativeDirectory = "Binaries/Native/Linux/X64";

/// The file of a library that the process has open already; empty where it has not.
inline std::filesystem::path LoadedLibrary(const std::string& name) {
  for (const std::string& object : LoadedObjects()) {
    if (std::filesystem::path(object).filename() == name) {
      return LoadedObject(object).File();
    }
  }
  return {};
}

/// Where a library is looked for, in this order: `directory` alone where it is given; else the one
/// that the process has open already, since a second copy would be a runtime of its own; else the
/// installation that FERROLINK_HOME names; else one at the executable's directory or above it.
inline std::vector<std::filesystem::path> Candidates(const std::filesystem::path& directory,
                                                     const std::string& name) {
  if (!directory.empty()) {
    return {directory / name};
  }
  if (auto loaded = LoadedLibrary(name); !loaded.empty()) {
    return {std::move(loaded)};
  }
  const char* home = std::getenv("FERROLINK_HOME");
  if (home != nullptr && *home != '\0') {
    return {std::filesystem::path(home) / kNativeDirectory / name};
  }
  std::vector<std::filesystem::path> paths;
  std::error_code unreadable;
  auto above = std::filesystem::read_symlink("/proc/self/exe", unreadable).parent_path();
  for (; !above.empty(); above = above.parent_path()) {
    paths.push_back(above / name);
    paths.push_back(above / kNativeDirectory / name);
    if (above == above.root_path()) {
      break;
    }
  }
  return paths;
}

/// Always an absolute path: the libraries look for their companions later, beside the path that
/// they were opened by, and the process may have changed its directory by then. Errors:
/// InstallationError.
inline std::filesystem::path FindLibrary(const std::filesystem::path& directory,
                                         const std::string& name = kLibraryName) {
  std::string tried;
  for (const auto& found : Candidates(directory, name)) {
    std::error_code unreadable;
    std::filesystem::path absolute = std::filesystem::absolute(found, unreadable);
    if (!unreadable && std::filesystem::exists(absolute, unreadable)) {
      return absolute;
    }
    tried += "\n  " + (absolute.empty() ? found : absolute).string();
  }
  throw InstallationError(name +
                          " was not found. Set FERROLINK_HOME to the installation's root (the "
                          "directory that holds Binaries). Looked for:" +
                          tried);
}

/// For files that another runtime is told to open. What is missing is that runtime's to report.
inline void RequireNoPipeOrDevice(const std::filesystem::path& path) {
  std::error_code unreadable;
  const std::filesystem::file_status status = std::filesystem::status(path, unreadable);
  if (std::filesystem::exists(status) && std::filesystem::is_other(status)) {
    throw InstallationError("Neither a file nor a directory: " + path.string() +
                            ". Opening a pipe or a device may wait for ever.");
  }
}

/// Opens a library of the family. Never closed again: its roles, and what is behind them, live
/// until the process ends.
inline void* OpenLibrary(const std::filesystem::path& library) {
  void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* reason = dlerror();
    throw InstallationError("Cannot open " + library.string() + ": " +
                            (reason != nullptr ? reason : "unknown loader error"));
  }
  return handle;
}

/// A function of an opened library; never null.
template <class Function>
Function* FunctionOf(void* handle, const std::filesystem::path& library, const char* name) {
  auto* function = reinterpret_cast<Function*>(dlsym(handle, name));
  if (function == nullptr) {
    throw InstallationError(library.string() + " does not export " + name +
                            ": it is not a library of this family. Reinstall Ferrolink.");
  }
  return function;
}

/// Opens the library and returns its receiver.
inline Native::Interfaces::IReceiver* OpenReceiver(const std::filesystem::path& library) {
  using CreateReceiver = Native::Interfaces::IReceiver*(Native::Definitions::RuntimeOperationMode);
  auto* create = FunctionOf<CreateReceiver>(OpenLibrary(library), library, "CreateReceiver");
  return create(Native::Definitions::RuntimeOperationMode::CalledRuntime);
}

}  // namespace Ferrolink::Host::detail

#endif
