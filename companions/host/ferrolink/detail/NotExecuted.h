#ifndef FERROLINK_HOST_DETAIL_NOTEXECUTED_H
#define FERROLINK_HOST_DETAIL_NOTEXECUTED_H

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

/// Tells from the text of an error whether the command may have been executed. A text begins with a
/// prefix and a code. The codes below occur only before a command is executed. All other errors may
/// occur after it.
namespace Ferrolink::Host::detail {

/// A range of codes of one component.
struct NotExecutedCodes {
  std::string_view prefix;  ///< the component
  int first;                ///< the first code of the range
  int last;                 ///< the last code of the range
};

/// The codes that occur only before a command is executed. com.ferrolink.NotExecuted has the same
/// list.
inline constexpr std::array kNotExecuted = {
    NotExecutedCodes{"JVM Launcher", 1, 16},
    NotExecutedCodes{"JVM Launcher", 18, 22},
    NotExecutedCodes{"JVM Launcher", 32, 36},
    NotExecutedCodes{"Ferrolink Native Exception", 1, 2},
    NotExecutedCodes{"Ferrolink Native Exception", 11, 16},
    NotExecutedCodes{"Ferrolink Native Exception", 19, 21},
    NotExecutedCodes{"Ferrolink Native Exception", 23, 23},
    NotExecutedCodes{"Ferrolink Native Exception", 31, 32},
    NotExecutedCodes{"JVM Lib", 1, 2},
    NotExecutedCodes{"Network Client", 1, 1},
    NotExecutedCodes{"Network Client", 3, 6},
    NotExecutedCodes{"Network Client", 8, 9},
};

/// The first words of an error text: "<prefix>: Exception code <code>".
/// @code
/// const auto found = ErrorCodeOf("JVM Launcher: Exception code 1");  // {"JVM Launcher", 1}
/// @endcode
struct ErrorCode {
  std::string_view prefix;  ///< the component
  int code;                 ///< unique within the component
};

/// Parses prefix and code of an error text; nothing if it has none. The prefix is a view of the
/// text.
inline std::optional<ErrorCode> ErrorCodeOf(std::string_view text) {
  constexpr std::string_view kMark = ": Exception code ";
  const std::size_t mark = text.find(kMark);
  if (mark == std::string_view::npos) {
    return std::nullopt;
  }
  ErrorCode found{text.substr(0, mark), 0};
  const std::string_view digits = text.substr(mark + kMark.size());
  if (std::from_chars(digits.begin(), digits.end(), found.code).ec != std::errc()) {
    return std::nullopt;
  }
  return found;
}

/// Whether the text proves that the command was not executed. False for texts without a known
/// prefix and code.
/// @code
/// SaysNotExecuted("JVM Launcher: Exception code 1");  // true: it may be sent again
/// @endcode
inline bool SaysNotExecuted(std::string_view text) {
  const std::optional<ErrorCode> found = ErrorCodeOf(text);
  return found && std::any_of(kNotExecuted.begin(), kNotExecuted.end(), [&](const auto& codes) {
           return found->prefix == codes.prefix && found->code >= codes.first &&
                  found->code <= codes.last;
         });
}

/// Whether a network client gave up because the time was over. Code 9: before it began to send the
/// command. Code 10: before the answer came.
inline bool SaysDeadline(std::string_view text) {
  const std::optional<ErrorCode> found = ErrorCodeOf(text);
  return found && found->prefix == "Network Client" && (found->code == 9 || found->code == 10);
}

}  // namespace Ferrolink::Host::detail

#endif
