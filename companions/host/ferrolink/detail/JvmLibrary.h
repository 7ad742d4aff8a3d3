#ifndef FERROLINK_HOST_DETAIL_JVMLIBRARY_H
#define FERROLINK_HOST_DETAIL_JVMLIBRARY_H

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ferrolink/LoadedObject.h"

namespace Ferrolink::Host::detail {

/// The first members of the JNI invocation interface. The JNI specification fixes their layout for
/// all JVMs (docs.oracle.com, "The Invocation API"). They are repeated here so that a host compiles
/// without a JDK. A test compares them with jni.h.
///
/// The JVM owns all objects of this type. Thread rule: thread-safe.
/// @code
/// void* environment = nullptr;
/// if (vm->functions->AttachCurrentThread(vm, &environment, nullptr) == 0) {
///   vm->functions->DetachCurrentThread(vm);
/// }
/// @endcode
struct JavaVm {
  /// The function table. Order, names and results are those of jni.h: 0 is success.
  struct Functions {
    void* reserved[3];  ///< unused
    /// @cond
    std::int32_t (*DestroyJavaVM)(JavaVm*);
    std::int32_t (*AttachCurrentThread)(JavaVm*, void** environment, void* arguments);
    std::int32_t (*DetachCurrentThread)(JavaVm*);
    std::int32_t (*GetEnv)(JavaVm*, void** environment, std::int32_t version);
    std::int32_t (*AttachCurrentThreadAsDaemon)(JavaVm*, void** environment, void* arguments);
    /// @endcond
  };
  const Functions* functions;  ///< owned by the JVM

  static constexpr std::int32_t kDetached = -2;          ///< JNI_EDETACHED
  static constexpr std::int32_t kVersion8 = 0x00010008;  ///< JNI_VERSION_1_8

  /// Whether the calling thread is attached, no matter who attached it.
  [[nodiscard]] bool KnowsThisThread() {
    void* environment = nullptr;
    return functions->GetEnv(this, &environment, kVersion8) != kDetached;
  }
};

/// A loaded library that can run a JVM. It is recognised by its exports; its file may have any
/// name.
/// @code
/// const JvmLibrary library = FindJvmLibrary();
/// const bool isRunning = library.vm != nullptr;
/// @endcode
struct JvmLibrary {
  std::filesystem::path file;  ///< empty if there is no such library
  JavaVm* vm = nullptr;        ///< null if none was created
};

/// Finds the JVM library that a loaded object is or depends on. `object` is a name in the loader's
/// list. The result is empty if there is none. Loads nothing. Thread-safe.
/// @code
/// const std::filesystem::path file = JvmLibraryOf("/opt/app/libplugin.so").file;
/// @endcode
inline JvmLibrary JvmLibraryOf(const std::string& object) {
  using GetCreated = std::int32_t(JavaVm**, std::int32_t, std::int32_t*);
  const LoadedObject opened(object);
  auto* getCreated = opened.Find<GetCreated>("JNI_GetCreatedJavaVMs");
  Dl_info origin{};
  if (getCreated == nullptr || dladdr(reinterpret_cast<void*>(getCreated), &origin) == 0) {
    return {};
  }
  JvmLibrary library;
  // Objects that depend on a JVM library find the function, too. The file is the one that defines
  // it.
  library.file = LoadedObject(origin.dli_fname).File();
  if (library.file.empty()) {
    library.file = origin.dli_fname;
  }
  std::int32_t count = 0;
  if (getCreated(&library.vm, 1, &count) != 0 || count < 1) {
    library.vm = nullptr;
  }
  return library;
}

/// Finds the JVM library of this process. If several copies are loaded, it is the copy that runs a
/// JVM, else the first copy. Searches the loader's whole list, so callers that ask often should
/// keep the result. Thread-safe.
inline JvmLibrary FindJvmLibrary() {
  std::vector<std::string> objects = LoadedObjects();
  // The usual name first: that saves a look into all other objects.
  std::stable_partition(objects.begin(), objects.end(),
                        [](const std::string& name) { return name.ends_with("/libjvm.so"); });
  JvmLibrary first;
  // A copy without a JVM counts only if no other copy has one.
  for (const std::string& object : objects) {
    JvmLibrary library = JvmLibraryOf(object);
    if (library.vm != nullptr) {
      return library;
    }
    if (first.file.empty()) {
      first = std::move(library);
    }
  }
  return first;
}

}  // namespace Ferrolink::Host::detail

#endif
