#include "native/Console.h"

#include <cerrno>
#include <cstdio>

#include "native/WriteSignalGuard.h"

namespace Ferrolink::Native::Console {
namespace {

// A console that cannot be written to is nobody's error here: the text is lost, the work goes on.
void Print(std::FILE* stream, std::string_view text) {
  WriteSignalGuard guard;
  if (std::fwrite(text.data(), 1, text.size(), stream) != text.size()) {
    guard.Failed(errno);
  }
  if (std::fflush(stream) != 0) {
    guard.Failed(errno);
  }
}

}  // namespace

void PrintOut(std::string_view text) {
  Print(stdout, text);
}
void PrintError(std::string_view text) {
  Print(stderr, text);
}

}  // namespace Ferrolink::Native::Console
