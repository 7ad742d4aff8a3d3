#ifndef FERROLINK_HOST_DETAIL_JVMLIBRARY_H
#define FERROLINK_HOST_DETAIL_JVMLIBRARY_H

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ferrolink/detail/LoadedObject.h"

namespace Ferrolink::Host::detail {

/// The head of the JNI invocation interface, whose layout the JNI fixes for all JVMs
/// (docs.oracle.com, "The Invocation API"). Repeated here so that a host needs no JDK to compile.
struct JavaVm {
  struct Functions {
    void* reserved[3];
    std::int32_t (*DestroyJavaVM)(JavaVm*);
    std::int32_t (*AttachCurrentThread)(JavaVm*, void** environment, void* arguments);
    std::int32_t (*DetachCurrentThread)(JavaVm*);
    std::int32_t (*GetEnv)(JavaVm*, void** environment, std::int32_t version);
    std::int32_t (*AttachCurrentThreadAsDaemon)(JavaVm*, void** environment, void* arguments);
  };
  const Functions* functions;

  /// Whether it knows the calling thread.
  [[nodiscard]] bool KnowsThisThread() {
    constexpr std::int32_t kDetached = -2;
    constexpr std::int32_t kVersion8 = 0x00010008;
    void* environment = nullptr;
    return functions->GetEnv(this, &environment, kVersion8) != kDetached;
  }
};

/// A library that runs JVMs, told by what it exports: its file may have any name.
struct JvmLibrary {
  std::filesystem::path file;  ///< empty where there is no such library
  JavaVm* vm = nullptr;        ///< null where none was created
};

inline JvmLibrary JvmLibraryOf(const std::string& object) {
  using GetCreated = std::int32_t(JavaVm**, std::int32_t, std::int32_t*);
  const LoadedObject opened(object);
  auto* getCreated = opened.Find<GetCreated>("JNI_GetCreatedJavaVMs");
  Dl_info origin{};
  if (getCreated == nullptr || dladdr(reinterpret_cast<void*>(getCreated), &origin) == 0) {
    return {};
  }
  JvmLibrary library;
  // What depends on a JVM library finds the function as well; the file is the one that has it.
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

/// The JVM library of this process: of several copies the one with a JVM, else the first. Any
/// thread.
inline JvmLibrary FindJvmLibrary() {
  std::vector<std::string> objects = LoadedObjects();
  // The usual name first; it saves looking into all the others.
  std::stable_partition(objects.begin(), objects.end(),
                        [](const std::string& name) { return name.ends_with("/libjvm.so"); });
  JvmLibrary first;
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
