#ifndef FERROLINK_NATIVE_INTERFACES_RUNTIME_H
#define FERROLINK_NATIVE_INTERFACES_RUNTIME_H

#include <cstdint>

namespace Ferrolink::Native::Definitions {

/// Identifies a runtime of the family; the values travel in command headers (offsets 0 and 9) and
/// index the runtime name table.
enum class Runtime : std::uint8_t {
  Clr = 0,
  Go = 1,
  Jvm = 2,
  Netcore = 3,
  Perl = 4,
  Python = 5,
  Ruby = 6,
  Nodejs = 7,
  Cpp = 8,
  Php = 9,
  Python2 = 10,
};

}  // namespace Ferrolink::Native::Definitions

#endif
