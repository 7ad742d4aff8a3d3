// A utilities library. LogMessage appends "<first>|<second>|<third>" and a line break to the file
// named by FAKE_UTILS_EVENTS (if set), calls the hook that a host in the same process may have set,
// and then throws a std::runtime_error with the text of FAKE_UTILS_THROW (if set). Built with
// FAKE_UTILS_EMPTY it lacks LogMessage.
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#define EXPORTED extern "C" __attribute__((visibility("default")))

#if defined(FAKE_UTILS_EMPTY)
EXPORTED void NothingOfUse() {}
#else
namespace {

using Hook = void();
Hook* hook = nullptr;

}  // namespace

EXPORTED void SetFakeUtilsHook(Hook* function) {
  hook = function;
}

EXPORTED void LogMessage(const char* first, const char* second, const char* third) {
  if (const char* file = std::getenv("FAKE_UTILS_EVENTS")) {
    const std::string line = std::string(first) + "|" + second + "|" + third + "\n";
    std::FILE* events = std::fopen(file, "ae");
    std::fputs(line.c_str(), events);
    std::fclose(events);
  }
  if (hook != nullptr) {
    hook();
  }
  if (const char* text = std::getenv("FAKE_UTILS_THROW")) {
    throw std::runtime_error(text);
  }
}
#endif
