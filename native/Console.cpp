#include "native/Console.h"

#include <cerrno>
#include <cstdio>

#include "native/WriteSignalGuard.h"

namespace Ferrolink::Native::Console {
namespace {

// A console that cannot be written to is nobody's error here: the text is lost, the work goes on.
void print(std::FILE* stream, std::string_view text) {
  WriteSignalGuard guard;
  if (std::fwrite(text.data(), 1, text.size(), stream) != text.size()) {
    guard.failed(errno);
  }
  if (std::fflush(stream) != 0) {
    guard.failed(errno);
  }
}

}  // namespace

void printOut(std::string_view text) {
  print(stdout, text);
}
void printError(std::string_view text) {
  print(stderr, text);
}

}  // namespace Ferrolink::Native::Console
