#include "companions/configs/JsonDocument.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <vector>

#include "companions/configs/Configuration.h"
#include "companions/configs/Printable.h"

namespace Ferrolink::Companions {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kDeepestNesting = 32;
constexpr std::size_t kLongestKey = 100;

// Checks keys while the parser reads, because the finished document has each key only once.
class KeyWatcher {
 public:
  void See(Json::parse_event_t event, const Json& parsed) {
    switch (event) {
      case Json::parse_event_t::object_start:
      case Json::parse_event_t::array_start:
        Enter();
        break;
      case Json::parse_event_t::object_end:
      case Json::parse_event_t::array_end:
        m_levels.pop_back();
        break;
      case Json::parse_event_t::key:
        SeeKey(parsed.get_ref<const std::string&>());
        break;
      case Json::parse_event_t::value:
        break;
    }
  }

  // The place of the value that is being read.
  [[nodiscard]] std::string Place() const {
    return m_levels.empty() ? ""
                            : MemberPointer(m_levels.back().pointer, m_levels.back().currentKey);
  }

 private:
  struct Level {
    std::string pointer;     // of the object itself
    std::string currentKey;  // of the member that is being read
    std::set<std::string> keys;
  };

  void Enter() {
    if (m_levels.size() == kDeepestNesting) {
      throw ConfigurationError("nested more than " + std::to_string(kDeepestNesting) +
                               " levels deep");
    }
    m_levels.push_back({Place(), {}, {}});
  }

  void SeeKey(const std::string& key) {
    Level& level = m_levels.back();
    if (!level.keys.insert(key).second) {
      throw ConfigurationError(MemberPointer(level.pointer, key) + ": the key appears twice");
    }
    level.currentKey = key;
  }

  std::vector<Level> m_levels;
};

std::string LineAndColumn(const std::string& text, std::size_t offset) {
  const std::string_view before = std::string_view(text).substr(0, offset);
  const std::size_t newline = before.rfind('\n');
  const std::string_view line =
      newline == std::string_view::npos ? before : before.substr(newline + 1);
  const auto isCharacter = [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
  };
  return "line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) +
         ", column " + std::to_string(std::count_if(line.begin(), line.end(), isCharacter) + 1);
}

// The middle part of the parser's text, between its position and the text that it last read. The
// latter may be a part of a password.
std::string ReasonOf(const Json::parse_error& error) {
  std::string_view text = error.what();
  text = text.substr(0, text.find("; last read: "));
  const std::size_t dash = text.find(" - ");
  return std::string(dash == std::string_view::npos ? "syntax error" : text.substr(dash + 3));
}

}  // namespace

std::string MemberPointer(const std::string& pointer, std::string_view key) {
  const std::size_t shown = PrefixLength(key, kLongestKey);
  std::string escaped;
  for (const char letter : key.substr(0, shown)) {
    if (letter == '~') {
      escaped += "~0";
    } else if (letter == '/') {
      escaped += "~1";
    } else {
      escaped += letter;
    }
  }
  return pointer + "/" + Printable(escaped) + (shown < key.size() ? "..." : "");
}

Json ParseJson(const std::string& text) {
  // The parser would treat it as the end and ignore the rest.
  if (const std::size_t nul = text.find('\0'); nul != std::string::npos) {
    throw ConfigurationError(LineAndColumn(text, nul) + ": a NUL character");
  }
  KeyWatcher watcher;
  const auto watch = [&watcher](int /*depth*/, Json::parse_event_t event, Json& parsed) {
    watcher.See(event, parsed);
    return true;
  };
  try {
    return Json::parse(text, watch);
  } catch (const Json::parse_error& error) {
    const std::size_t offset = std::min(error.byte == 0 ? 0 : error.byte - 1, text.size());
    throw ConfigurationError(LineAndColumn(text, offset) + ": " + ReasonOf(error));
  } catch (const Json::out_of_range&) {
    throw ConfigurationError(watcher.Place() + ": a number is out of range");
  }
}

}  // namespace Ferrolink::Companions
