#include "tests/soak/Tally.h"

#include <algorithm>

namespace Ferrolink::Soak {
namespace {

constexpr std::size_t kTextsKept = 10;
constexpr std::size_t kLongestText = 500;

std::string Quoted(std::string text) {
  text.resize(std::min(text.size(), kLongestText));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~' || c == '"' || c == '\\'; },
      ' ');
  return '"' + text + '"';
}

std::string Object(const std::map<std::string, long, std::less<>>& counts) {
  std::string text;
  for (const auto& [kind, count] : counts) {
    text += (text.empty() ? "" : ",") + Quoted(kind) + ":" + std::to_string(count);
  }
  return "{" + text + "}";
}

}  // namespace

void Tally::Add(Counts& counts, std::string_view kind, long count) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = counts.find(kind);
  if (found == counts.end()) {
    counts.emplace(kind, count);
  } else {
    found->second += count;
  }
}

void Tally::Wrong(const std::string& what) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  ++m_wrong;
  if (m_firstWrong.size() < kTextsKept) {
    m_firstWrong.push_back(what);
  }
}

std::string Tally::Json() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::string texts;
  for (const std::string& text : m_firstWrong) {
    texts += (texts.empty() ? "" : ",") + Quoted(text);
  }
  return "\"commands\":" + Object(m_commands) + ",\"errors\":" + Object(m_errors) +
         ",\"wrong\":" + std::to_string(m_wrong) + ",\"texts\":[" + texts + "]";
}

}  // namespace Ferrolink::Soak
