#include "jvm/LoadedJvm.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <string>
#include <vector>

#include "jvm/JvmEntryPoints.h"
#include "native/Loader.h"

namespace {

namespace Loader = Ferrolink::Native::Loader;

bool IsJvmLibrary(const std::filesystem::path& file) {
  const std::filesystem::path name = "libjvm.so";
  if (file.filename() == name) {
    return true;
  }
  std::error_code unreadable;
  return std::filesystem::canonical(file, unreadable).filename() == name;
}

// The loader holds its lock while it lists, so nothing is opened in there.
std::vector<std::string> LoadedFiles() {
  std::vector<std::string> files;
  dl_iterate_phdr(
      [](dl_phdr_info* object, std::size_t, void* data) {
        if (object->dlpi_name != nullptr && *object->dlpi_name == '/') {
          static_cast<std::vector<std::string>*>(data)->emplace_back(object->dlpi_name);
        }
        return 0;
      },
      &files);
  return files;
}

JavaVM* JvmOf(const std::string& file) {
  Loader::OwnedLibrary library;
  library.Adopt(dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD));
  auto* getCreatedJavaVMs =
      Loader::FindFunctionIn<GetCreatedJavaVMsFunction>(library.get(), "JNI_GetCreatedJavaVMs");
  JavaVM* vm = nullptr;
  jsize count = 0;
  if (getCreatedJavaVMs == nullptr || getCreatedJavaVMs(&vm, 1, &count) != JNI_OK || count < 1) {
    return nullptr;
  }
  return vm;
}

}  // namespace

JavaVM* FindLoadedJvm() {
  for (const std::string& file : LoadedFiles()) {
    if (JavaVM* vm = IsJvmLibrary(file) ? JvmOf(file) : nullptr) {
      return vm;
    }
  }
  return nullptr;
}
