#include "companions/utils/TelemetryLine.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace Ferrolink::Companions {
namespace {

// Uses calendar arithmetic, because gmtime reads the host's TZ under a lock of its own.
std::string UtcNow() {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const auto today = floor<days>(now);
  const year_month_day date{today};
  const hh_mm_ss time{now - today};
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                static_cast<int>(time.subseconds().count()));
  return text.data();
}

}  // namespace

std::string TelemetryLine(const char* category, const char* message, const char* context) {
  using Json = nlohmann::ordered_json;
  Json event = Json::object();
  event["time"] = UtcNow();
  event["category"] = category;
  event["message"] = message;
  event["context"] = context;
  event["thread"] = gettid();
  event["process"] = getpid();
  constexpr int kOnOneLine = -1;
  constexpr bool kAsciiOnly = true;
  return event.dump(kOnOneLine, ' ', kAsciiOnly, Json::error_handler_t::replace) + "\n";
}

}  // namespace Ferrolink::Companions
