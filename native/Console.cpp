#include "native/Console.h"

#include <cstdio>

namespace Ferrolink::Native::Console {
namespace {

// A console that cannot be written to is nobody's error here: the text is lost, the work goes on.
void print(std::FILE* stream, std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stream));
  static_cast<void>(std::fflush(stream));
}

}  // namespace

void printOut(std::string_view text) {
  print(stdout, text);
}
void printError(std::string_view text) {
  print(stderr, text);
}

}  // namespace Ferrolink::Native::Console
