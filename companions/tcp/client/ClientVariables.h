#ifndef FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTVARIABLES_H
#define FERROLINK_COMPANIONS_TCP_CLIENT_CLIENTVARIABLES_H

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "companions/tcp/Wire.h"

/// The variables of the environment that a client refuses with 006 unless their value is right.
namespace Ferrolink::Companions::Tcp::Client {

/// The decimal number that is the whole text; none if it is anything else, or too large.
inline std::optional<std::uint32_t> NumberIn(std::string_view text) {
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

/// A variable whose value is a number.
struct NumericVariable {
  const char* name;
  std::uint32_t least;
  std::uint32_t greatest;

  /// None if the text is no number that the variable may have.
  [[nodiscard]] std::optional<std::uint32_t> ValueIn(std::string_view text) const {
    const auto number = NumberIn(text);
    return number && *number >= least && *number <= greatest ? number : std::nullopt;
  }
  /// What its value must be, for messages.
  [[nodiscard]] std::string Wanted() const {
    return "a number from " + std::to_string(least) + " to " + std::to_string(greatest);
  }
};

inline constexpr std::uint32_t kGreatestTimeout = 3'600'000;
inline constexpr NumericVariable kConnectTimeout{"FERROLINK_CONNECT_TIMEOUT_MS", 1,
                                                 kGreatestTimeout};
inline constexpr NumericVariable kFrameLimit{"FERROLINK_MAX_FRAME_BYTES", Wire::kLeastLimit,
                                             Wire::kGreatestLimit};
inline constexpr NumericVariable kCallTimeout{"FERROLINK_CALL_TIMEOUT_MS", 1,
                                              Wire::kNoTimeLimit - 1};
inline constexpr NumericVariable kUnacknowledgedTimeout{"FERROLINK_UNACKNOWLEDGED_TIMEOUT_MS", 1,
                                                        kGreatestTimeout};
inline constexpr NumericVariable kPoolSize{"FERROLINK_POOL_SIZE", 0, 4096};
inline constexpr std::array kNumericVariables{kConnectTimeout, kFrameLimit, kCallTimeout,
                                              kUnacknowledgedTimeout, kPoolSize};

/// The time limit for connecting unless it is set.
inline constexpr std::uint32_t kUsualConnectTimeout = 10'000;

/// The variable that turns the verification of servers off, and the one value that it may have.
inline constexpr const char* kInsecureVariable = "FERROLINK_TLS_INSECURE";
inline constexpr const char* kInsecure = "accept-any-certificate";

}  // namespace Ferrolink::Companions::Tcp::Client

#endif
