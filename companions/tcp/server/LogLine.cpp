#include "companions/tcp/server/LogLine.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "companions/configs/Printable.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr std::size_t kLongestText = 1024;
constexpr std::size_t kShortestText = 16;

std::string Shortened(std::string_view text, std::size_t longest) {
  const std::size_t shown = PrefixLength(text, longest);
  return std::string(text.substr(0, shown)) + (shown < text.size() ? "..." : "");
}

std::string Milliseconds(std::chrono::microseconds duration) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%lld.%03lld",
                static_cast<long long>(duration.count() / 1000),
                static_cast<long long>(duration.count() % 1000));
  return text.data();
}

using Texts = std::array<std::pair<const char*, std::string_view>, 4>;

Texts TextsOf(const LogEvent& event) {
  return {{{"peer", event.peer},
           {"subject", event.subject},
           {"handler", event.handler},
           {"reason", event.reason}}};
}

std::string TextLine(const LogEvent& event, std::size_t longestText) {
  std::string line(event.name);
  for (const auto& [key, value] : TextsOf(event)) {
    if (!value.empty()) {
      line += std::string(" ") + key + "=\"" + Printable(Shortened(value, longestText)) + '"';
    }
  }
  if (event.duration) {
    line += " duration-ms=" + Milliseconds(*event.duration);
  }
  return line;
}

std::string InQuotes(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

std::string JsonLine(const LogEvent& event, std::size_t longestText) {
  std::string line = "\"event\":" + InQuotes(event.name);
  for (const auto& [key, value] : TextsOf(event)) {
    if (!value.empty()) {
      line += std::string(",\"") + key + "\":" + InQuotes(Shortened(value, longestText));
    }
  }
  if (event.duration) {
    line += ",\"durationMs\":" + Milliseconds(*event.duration);
  }
  return line;
}

}  // namespace

// Finds the length by trying, because escapes may make a text six times as long.
std::string LogLineOf(const LogEvent& event, LogFormat format, std::size_t longest) {
  std::string line;
  for (std::size_t text = kLongestText; text >= kShortestText; text /= 2) {
    line = format == LogFormat::Json ? JsonLine(event, text) : TextLine(event, text);
    if (line.size() <= longest) {
      break;
    }
  }
  return line;
}

}  // namespace Ferrolink::Companions::Tcp::Server
