#include "companions/cpp/PlugInLibraries.h"

#include <cstdint>
#include <filesystem>
#include <type_traits>
#include <utility>

#include "companions/cpp/Registrar.h"
#include "companions/cpp/ferrolink/cpp_runtime.h"
#include "ferrolink/protocol/CommandParts.h"
#include "native/LibrariesFinder.h"

namespace Ferrolink::Runtimes::Cpp::Native {
namespace {

using Ferrolink::Native::LibrariesFinder::LibrariesFinder;
namespace Loader = Ferrolink::Native::Loader;

using Protocol::CommandRejected;
using RegisterHandlers = std::remove_pointer_t<ferrolink_register_handlers_function>;

}  // namespace

PlugInLibraries& PlugInLibraries::Instance() {
  static auto* const plugIns = new PlugInLibraries();
  return *plugIns;
}

void PlugInLibraries::Load(const std::string& path) {
  auto plugIn = std::make_unique<PlugIn>();
  // Absolute: the loader searches the system's directories for a file name without a directory.
  plugIn->path = std::filesystem::absolute(path).lexically_normal().string();
  const std::string fullPath = plugIn->path;
  void* handle = LibrariesFinder::loadLibrary(fullPath, true, true);
  plugIn->library.Adopt(handle);
  auto* registerHandlers =
      Loader::FindFunction<RegisterHandlers>(handle, FERROLINK_REGISTER_HANDLERS);
  if (registerHandlers == nullptr) {
    throw CommandRejected(fullPath +
                          " does not export ferrolink_register_handlers: it is no plug-in library "
                          "with C++ handlers.");
  }
  {
    // If the library is open already, `plugIn` closes its second handle.
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_plugIns.try_emplace(handle, std::move(plugIn));
  }
  const std::int32_t result =
      registerHandlers(ferrolink_get_registrar(FERROLINK_REGISTRAR_VERSION));
  if (result != FERROLINK_OK) {
    throw CommandRejected("ferrolink_register_handlers of " + fullPath + " returned " +
                          std::to_string(result) + ".");
  }
}

std::string PlugInLibraries::Paths() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::string paths;
  for (const auto& [handle, plugIn] : m_plugIns) {
    paths += plugIn->path + "\n";
  }
  return paths;
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
