#ifndef FERROLINK_HOST_DETAIL_NOTEXECUTED_H
#define FERROLINK_HOST_DETAIL_NOTEXECUTED_H

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

/// The failures that come before a command is executed, by the prefixes and codes of their texts.
/// All others may come after it.
namespace Ferrolink::Host::detail {

struct NotExecutedCodes {
  std::string_view prefix;
  int first;
  int last;
};

inline constexpr std::array kNotExecuted = {
    NotExecutedCodes{"JVM Launcher", 1, 10},
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

/// How an error text begins: "<prefix>: Exception code <code>".
struct ErrorCode {
  std::string_view prefix;
  int code;
};

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

inline bool SaysNotExecuted(std::string_view text) {
  const std::optional<ErrorCode> found = ErrorCodeOf(text);
  return found && std::any_of(kNotExecuted.begin(), kNotExecuted.end(), [&](const auto& codes) {
           return found->prefix == codes.prefix && found->code >= codes.first &&
                  found->code <= codes.last;
         });
}

/// Whether a network client has given up on time.
inline bool SaysDeadline(std::string_view text) {
  const std::optional<ErrorCode> found = ErrorCodeOf(text);
  return found && found->prefix == "Network Client" && (found->code == 9 || found->code == 10);
}

}  // namespace Ferrolink::Host::detail

#endif
