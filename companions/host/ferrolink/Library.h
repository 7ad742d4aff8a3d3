#ifndef FERROLINK_HOST_LIBRARY_H
#define FERROLINK_HOST_LIBRARY_H

#include <dlfcn.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ferrolink/Errors.h"
#include "ferrolink/LoadedObject.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

/// Finds and opens the libraries of an installation:
/// @code
/// IReceiver* receiver = OpenReceiver(FindLibrary({}, kCppLibrary));
/// @endcode
/// Thread rule: thread-safe. Errors: InstallationError, which says what was looked for.
namespace Ferrolink::Host {

inline constexpr const char* kJvmLibrary = "libFerrolinkJvmRuntimeNative.so";  ///< the JVM member
inline constexpr const char* kCppLibrary = "libFerrolinkCppRuntimeNative.so";  ///< the C++ member

/// The directory of all native libraries, below the root of the installation.
inline constexpr const char* kNativeDirectory = "Binaries/Native/Linux/X64";

/// The roots of installations for all users, in the order of the search. Java has the same.
inline constexpr std::array<const char*, 2> kSystemInstallations{"/usr/lib/ferrolink",
                                                                 "/usr/local/lib/ferrolink"};

namespace detail {

/// The file of a library that the process has open already; empty if it has not.
inline std::filesystem::path LoadedLibrary(const std::string& name) {
  for (const std::string& object : LoadedObjects()) {
    if (std::filesystem::path(object).filename() == name) {
      return LoadedObject(object).File();
    }
  }
  return {};
}

/// The paths to try, in this order. The first of these that applies is the only one:
/// - `directory`, if it is given;
/// - the copy that the process has open already: a second copy would be a separate runtime;
/// - the installation that FERROLINK_HOME names;
/// - the executable's directory and those above it, then the installation that the program was
/// built
///   against (the CMake package defines FERROLINK_INSTALLATION), then those of the system.
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
#ifdef FERROLINK_INSTALLATION
  paths.push_back(std::filesystem::path(FERROLINK_INSTALLATION) / kNativeDirectory / name);
#endif
  for (const char* root : kSystemInstallations) {
    paths.push_back(std::filesystem::path(root) / kNativeDirectory / name);
  }
  return paths;
}

}  // namespace detail

/// Finds a library:
/// @code
/// const std::filesystem::path library = FindLibrary({}, kCppLibrary);
/// @endcode
/// Looks in `directory`; or, if that is empty, the copy that the process has open, else
/// in the installation that FERROLINK_HOME names, else around the executable, in the installation
/// that the program was built against, and in those of the system. The path is absolute: the
/// library looks for its companions beside it later, perhaps from another current directory.
/// Errors: InstallationError, which lists the paths.
inline std::filesystem::path FindLibrary(const std::filesystem::path& directory,
                                         const std::string& name = kJvmLibrary) {
  std::string tried;
  for (const auto& found : detail::Candidates(directory, name)) {
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

/// Must be called for a file that another runtime will open, because opening a pipe may block for
/// ever. Missing files are no error here; that runtime reports them. Errors: InstallationError for
/// a pipe or a device.
inline void RequireNoPipeOrDevice(const std::filesystem::path& path) {
  std::error_code unreadable;
  const std::filesystem::file_status status = std::filesystem::status(path, unreadable);
  if (std::filesystem::exists(status) && std::filesystem::is_other(status)) {
    throw InstallationError("Neither a file nor a directory: " + path.string() +
                            ". Opening a pipe or a device may wait for ever.");
  }
}

/// Opens a library of the family:
/// @code
/// void* handle = OpenLibrary(FindLibrary({}));
/// @endcode
/// It is never closed: its roles live until the process ends. Another opening returns the same
/// handle. Errors: InstallationError with the loader's reason.
inline void* OpenLibrary(const std::filesystem::path& library) {
  void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* reason = dlerror();
    throw InstallationError("Cannot open " + library.string() + ": " +
                            (reason != nullptr ? reason : "unknown loader error"));
  }
  return handle;
}

/// A function of an opened library, never null. `library` is for the error text:
/// @code
/// using Create = IReceiver*(RuntimeOperationMode);
/// auto* create = FunctionOf<Create>(handle, library, "CreateReceiver");
/// @endcode
/// Errors: InstallationError if the library does not export the name.
template <class Function>
Function* FunctionOf(void* handle, const std::filesystem::path& library, const char* name) {
  auto* function = reinterpret_cast<Function*>(dlsym(handle, name));
  if (function == nullptr) {
    throw InstallationError(library.string() + " does not export " + name +
                            ": it is not a library of this family. Reinstall Ferrolink.");
  }
  return function;
}

/// Opens a member and returns its receiver, which the member owns. A process has one receiver per
/// member; callers initialise it before the first command:
/// @code
/// IReceiver* receiver = OpenReceiver(library);
/// receiver->Initialize(callingRuntime, calledRuntime, 0);
/// @endcode
/// Errors: InstallationError; those of CreateReceiver.
inline Native::Interfaces::IReceiver* OpenReceiver(const std::filesystem::path& library) {
  using CreateReceiver = Native::Interfaces::IReceiver*(Native::Definitions::RuntimeOperationMode);
  auto* create = FunctionOf<CreateReceiver>(OpenLibrary(library), library, "CreateReceiver");
  return create(Native::Definitions::RuntimeOperationMode::CalledRuntime);
}

}  // namespace Ferrolink::Host

#endif
