#ifndef FERROLINK_NATIVE_INTERFACES_RUNTIME_H
#define FERROLINK_NATIVE_INTERFACES_RUNTIME_H

#include <cstdint>

namespace Ferrolink::Native::Definitions {

/// Identifies a runtime of the family. The values are fixed: command headers carry them (offsets 0
/// and 9), and they index the table of runtime names.
///
/// Example:
/// @code
/// command[CommandHeader::kTargetRuntime] = static_cast<std::uint8_t>(Runtime::Jvm);
/// @endcode
enum class Runtime : std::uint8_t {
  Clr = 0,       ///< .NET Framework
  Go = 1,        ///< Go
  Jvm = 2,       ///< Java and other languages of the JVM
  Netcore = 3,   ///< .NET
  Perl = 4,      ///< Perl
  Python = 5,    ///< Python 3
  Ruby = 6,      ///< Ruby
  Nodejs = 7,    ///< Node.js
  Cpp = 8,       ///< C++
  Php = 9,       ///< PHP
  Python2 = 10,  ///< Python 2
};

}  // namespace Ferrolink::Native::Definitions

#endif
