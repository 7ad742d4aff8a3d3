#ifndef FERROLINK_HOST_DETAIL_LIBRARY_H
#define FERROLINK_HOST_DETAIL_LIBRARY_H

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "ferrolink/Errors.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Host::detail {

inline constexpr const char* kLibraryName = "libFerrolinkJvmRuntimeNative.so";
inline constexpr const char* kNativeDirectory = "Binaries/Native/Linux/X64";

/// Where the library is looked for, in this order: `directory` alone where it is given; else the
/// installation that FERROLINK_HOME names; else one at the executable's directory or above it.
inline std::vector<std::filesystem::path> candidates(const std::filesystem::path& directory) {
  if (!directory.empty()) {
    return {directory / kLibraryName};
  }
  if (const char* home = std::getenv("FERROLINK_HOME")) {
    return {std::filesystem::path(home) / kNativeDirectory / kLibraryName};
  }
  std::vector<std::filesystem::path> paths;
  std::error_code unreadable;
  auto above = std::filesystem::read_symlink("/proc/self/exe", unreadable).parent_path();
  for (; !above.empty(); above = above.parent_path()) {
    paths.push_back(above / kLibraryName);
    paths.push_back(above / kNativeDirectory / kLibraryName);
    if (above == above.root_path()) {
      break;
    }
  }
  return paths;
}

inline std::filesystem::path findLibrary(const std::filesystem::path& directory) {
  std::string tried;
  for (const auto& candidate : candidates(directory)) {
    std::error_code unreadable;
    if (std::filesystem::exists(candidate, unreadable)) {
      return candidate;
    }
    tried += "\n  " + candidate.string();
  }
  throw InstallationError(std::string(kLibraryName) +
                          " was not found. Set FERROLINK_HOME to the installation's root (the "
                          "directory that holds Binaries). Looked for:" +
                          tried);
}

/// Opens the library and returns its receiver. Never closed again: the receiver, and the JVM behind
/// it, live until the process ends.
inline Native::Interfaces::IReceiver* openReceiver(const std::filesystem::path& library) {
  void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* reason = dlerror();
    throw InstallationError("Cannot open " + library.string() + ": " +
                            (reason != nullptr ? reason : "unknown loader error"));
  }
  using CreateReceiver = Native::Interfaces::IReceiver*(Native::Definitions::RuntimeOperationMode);
  auto* create = reinterpret_cast<CreateReceiver*>(dlsym(handle, "CreateReceiver"));
  if (create == nullptr) {
    throw InstallationError(library.string() +
                            " does not export CreateReceiver: it is not a library of this family. "
                            "Reinstall Ferrolink.");
  }
  return create(Native::Definitions::RuntimeOperationMode::CalledRuntime);
}

}  // namespace Ferrolink::Host::detail

#endif
