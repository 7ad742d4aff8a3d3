#include "companions/tcp/client/SiblingLibrary.h"

#include <cstddef>
#include <string_view>

namespace Ferrolink::Companions::Tcp::Client {
namespace {

// Its address identifies this library to the loader.
const char kOwnMark = 0;

// Ends with a slash: without one the loader would search its paths.
std::string OwnDirectory() {
  Dl_info info{};
  if (dladdr(&kOwnMark, &info) == 0 || info.dli_fname == nullptr) {
    return "./";
  }
  const std::string_view file = info.dli_fname;
  const std::size_t slash = file.rfind('/');
  return slash == std::string_view::npos ? "./" : std::string(file.substr(0, slash + 1));
}

}  // namespace

SiblingLibrary::SiblingLibrary(const std::string& file)
    : m_handle(dlopen((OwnDirectory() + file).c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (m_handle == nullptr) {
    const char* reason = dlerror();
    m_reason = reason == nullptr ? "unknown reason" : reason;
  }
}

}  // namespace Ferrolink::Companions::Tcp::Client
