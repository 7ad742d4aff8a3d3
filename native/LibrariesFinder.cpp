#include "native/LibrariesFinder.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "native/Console.h"
#include "native/FerrolinkNativeException.h"
#include "native/Loader.h"
#include "native/RuntimeNameHandler.h"

namespace Ferrolink::Native::LibrariesFinder {
namespace {

void* OpenLibrary(const std::string& path, int flags, bool throwOnError, bool printError) {
  std::string reason;
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    reason = "File not found.";
  } else if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
    reason = "Not a regular file.";  // the loader would wait for a FIFO's writer
  } else if (void* handle = dlopen(path.c_str(), flags)) {
    return handle;
  } else {
    reason = Loader::ErrorText();
  }
  const std::string message =
      "Ferrolink Native Exception: Exception code 001. \nCannot load: " + path +
      ". \nError: " + reason;
  if (throwOnError) {
    throw FerrolinkNativeException(message, "Unknown");
  }
  if (printError) {
    Console::PrintError(message + "\n");
  }
  return nullptr;
}

void* OpenOnce(std::atomic<void*>& instance, const char* fileName, bool throwOnError,
               bool printError) {
  if (void* handle = instance.load(std::memory_order_acquire)) {
    return handle;
  }
  void* handle = LibrariesFinder::loadLibrary(LibrariesFinder::getPathToDir() + fileName,
                                              throwOnError, printError);
  instance.store(handle, std::memory_order_release);
  return handle;
}

}  // namespace

std::atomic<void*> LibrariesFinder::utilsLibraryInstance{nullptr};
std::atomic<void*> LibrariesFinder::configsLibraryInstance{nullptr};
std::atomic<void*> LibrariesFinder::tcpClientLibraryInstance{nullptr};
std::atomic<void*> LibrariesFinder::tcpTlsClientLibraryInstance{nullptr};

std::string LibrariesFinder::getCurrentWorkingDirectory() {
  std::string directory = std::filesystem::current_path().string();
  std::replace(directory.begin(), directory.end(), '\\', '/');
  return directory + "/";
}

std::string LibrariesFinder::getThisLibraryPath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&emptyFunctionInNativeLib), &info) == 0) {
    throw FerrolinkNativeException(
        "Ferrolink Native Exception: Exception code 002. \nError: " + Loader::ErrorText(),
        "Unknown");
  }
  const std::string file = info.dli_fname;
  return file.substr(0, file.rfind('/')) + "/";
}

const std::string& LibrariesFinder::getPathToDir() {
  // Published, not initialised under a guard: a failure to compute it is reported through
  // companions that are looked for in the same directory, and nobody may wait for such a report.
  static std::atomic<const std::string*> pathToDir{nullptr};
  if (const std::string* known = pathToDir.load(std::memory_order_acquire)) {
    return *known;
  }
  auto computed = std::make_unique<const std::string>(getThisLibraryPath());
  const std::string* first = nullptr;
  if (pathToDir.compare_exchange_strong(first, computed.get(), std::memory_order_acq_rel)) {
    return *computed.release();
  }
  return *first;
}

std::string LibrariesFinder::getBinariesRootPath() {
  return getThisLibraryPath() + "../../../../";
}

const std::string& LibrariesFinder::getNativeDirectoryRelativePath() {
  static const std::string* const nativeDirectoryRelativePath =
      new std::string(std::string("/Binaries/Native/") + "Linux" + "/" + "X64" + "/");
  return *nativeDirectoryRelativePath;
}

void* LibrariesFinder::loadLibrary(std::string path, bool throwOnError, bool printError) {
  return OpenLibrary(path, Loader::kBindNow, throwOnError, printError);
}

void* LibrariesFinder::loadLibraryDeepBind(std::string path, bool throwOnError, bool printError) {
  return OpenLibrary(path, Loader::kBindDeep, throwOnError, printError);
}

void* LibrariesFinder::loadUtilsLibrary(bool throwOnError) {
  return OpenOnce(utilsLibraryInstance, "libUtils.so", throwOnError, false);
}

void* LibrariesFinder::loadConfigsLibrary(bool throwOnError) {
  return OpenOnce(configsLibraryInstance, "libConfigs.so", throwOnError, false);
}

void* LibrariesFinder::loadTcpClientLibrary(bool throwOnError) {
  return OpenOnce(tcpClientLibraryInstance, "libFerrolinkTcpClient.so", throwOnError, true);
}

void* LibrariesFinder::loadTcpTlsClientLibrary(bool throwOnError) {
  void* handle =
      OpenOnce(tcpTlsClientLibraryInstance, "libFerrolinkTcpTlsClient.so", throwOnError, true);
  if (handle != nullptr) {
    return handle;
  }
  // The directory ends in "/" already; the doubled slash is one slash to the loader.
  return OpenOnce(tcpTlsClientLibraryInstance, "/openssl3/libFerrolinkTcpTlsClient.so",
                  throwOnError, true);
}

std::string LibrariesFinder::getRuntimeLibraryPath(int runtime) {
  return getThisLibraryPath() +
         RuntimeNameHandler::RuntimeNameHandler::getRuntimeLibraryName(runtime);
}

}  // namespace Ferrolink::Native::LibrariesFinder
