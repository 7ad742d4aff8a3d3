#include "companions/tcp/client/SiblingLibrary.h"

#include <string_view>

namespace Ferrolink::Companions::Tcp::Client {
namespace {

// A variable of this library, whichever library asks.
const char kOwnMark = 0;

// With the slash at its end; the loader would search its paths without one.
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
