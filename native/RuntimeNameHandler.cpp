#include "native/RuntimeNameHandler.h"

#include <array>
#include <string_view>

namespace Ferrolink::Native::RuntimeNameHandler {
namespace {

constexpr std::array<std::string_view, 11> kNames = {
    "Clr", "Go", "Jvm", "Netcore", "Perl", "Python", "Ruby", "Nodejs", "Cpp", "Php", "Python2",
};

// Tested as an unsigned value, so that a negative identifier falls to "Unknown" as well.
bool IsKnown(int runtime) {
  return static_cast<unsigned>(runtime) < kNames.size();
}

}  // namespace

std::string RuntimeNameHandler::GetRuntimeName(int runtime) {
  return IsKnown(runtime) ? std::string(kNames[static_cast<unsigned>(runtime)]) : "Unknown";
}

std::string RuntimeNameHandler::getRuntimeLibraryName(int runtime) {
  return IsKnown(runtime) ? "libFerrolink" + GetRuntimeName(runtime) + "RuntimeNative.so"
                          : "Unknown";
}

}  // namespace Ferrolink::Native::RuntimeNameHandler
