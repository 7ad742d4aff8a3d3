#include "tests/support/Counts.h"

#include <charconv>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Ferrolink::Tests {

long CountOr(const char* variable, long otherwise) {
  const char* set = std::getenv(variable);
  if (set == nullptr) {
    return otherwise;
  }
  const std::string_view text = set;
  const char* end = text.data() + text.size();
  long count = 0;
  const auto [stopped, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc() || stopped != end || count < 1) {
    throw std::runtime_error(std::string(variable) + " is no positive number: " + set);
  }
  return count;
}

}  // namespace Ferrolink::Tests
