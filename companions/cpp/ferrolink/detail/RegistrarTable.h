#ifndef FERROLINK_CPP_DETAIL_REGISTRARTABLE_H
#define FERROLINK_CPP_DETAIL_REGISTRARTABLE_H

#include <cstdint>
#include <filesystem>
#include <type_traits>

#include "ferrolink/Errors.h"
#include "ferrolink/Library.h"
#include "ferrolink/cpp_runtime.h"

namespace Ferrolink::Cpp::detail {

/// Opens the C++ member and returns its table of functions, which lives until the process ends.
/// Finds the library as Host::FindLibrary does; `directory` may be empty. Thread-safe. Errors:
/// InstallationError if the library is missing, or older than this program's cpp_runtime.h.
/// @code
/// const ferrolink_registrar* table = OpenRegistrar({});
/// table->unregister_handler("reverse", 7);
/// @endcode
inline const ferrolink_registrar* OpenRegistrar(const std::filesystem::path& directory) {
  const std::filesystem::path library = Host::FindLibrary(directory, Host::kCppLibrary);
  using GetRegistrar = std::remove_pointer_t<ferrolink_get_registrar_function>;
  auto* getRegistrar =
      Host::FunctionOf<GetRegistrar>(Host::OpenLibrary(library), library, FERROLINK_GET_REGISTRAR);
  const ferrolink_registrar* table = getRegistrar(FERROLINK_REGISTRAR_VERSION);
  if (table == nullptr) {
    throw Host::InstallationError(
        library.string() +
        " does not know this program's version of cpp_runtime.h. Install the "
        "Ferrolink that the program was built with, or a later one.");
  }
  return table;
}

}  // namespace Ferrolink::Cpp::detail

#endif
