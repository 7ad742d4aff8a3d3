#include "companions/tool/Options.h"

#include <algorithm>
#include <cstdlib>

#include "companions/tool/Failure.h"
#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {
namespace {

constexpr const char* kVariable = "JAVA_TOOL_OPTIONS";

// The JVM splits at blanks outside of quotes, and removes the quotes.
void Split(const std::string& text, std::vector<std::string>& options) {
  std::string option;
  char quote = '\0';
  for (const char letter : text + " ") {
    const bool blank = letter == ' ' || letter == '\t' || letter == '\n';
    if (quote != '\0') {
      if (letter == quote) {
        quote = '\0';
      } else {
        option += letter;
      }
    } else if (letter == '"' || letter == '\'') {
      quote = letter;
    } else if (!blank) {
      option += letter;
    } else if (!option.empty()) {
      options.push_back(std::move(option));
      option.clear();
    }
  }
}

std::string Quoted(const std::string& option) {
  if (option.find_first_of(" \t\n\"'") == std::string::npos) {
    return option;
  }
  const char quote = option.find('"') == std::string::npos ? '"' : '\'';
  if (option.find(quote) != std::string::npos) {
    throw Failure("The JVM option " + option +
                  " has both kinds of quotes, which JAVA_TOOL_OPTIONS cannot hold.");
  }
  return quote + option + quote;
}

}  // namespace

void AddJvmOption(const std::string& option, JvmOptionPlace place) {
  std::string all = Host::detail::Variable(kVariable);
  if (all.empty()) {
    all = Quoted(option);
  } else {
    all = place == JvmOptionPlace::First ? Quoted(option) + " " + all : all + " " + Quoted(option);
  }
  setenv(kVariable, all.c_str(), 1);
}

std::vector<std::string> JvmOptions() {
  std::vector<std::string> options = JvmOptionsOf(kVariable);
  for (std::string& option : JvmOptionsOf("_JAVA_OPTIONS")) {
    options.push_back(std::move(option));
  }
  return options;
}

std::vector<std::string> JvmOptionsOf(const std::string& variable) {
  std::vector<std::string> options;
  Split(Host::detail::Variable(variable.c_str()), options);
  return options;
}

bool HasJvmOption(const std::string& beginning) {
  const auto options = JvmOptions();
  return std::any_of(options.begin(), options.end(),
                     [&](const std::string& option) { return option.starts_with(beginning); });
}

void SetIfEmpty(const char* variable, const std::string& value) {
  if (Host::detail::Variable(variable).empty()) {
    setenv(variable, value.c_str(), 1);
  }
}

std::vector<std::string> PathsOf(const std::string& list) {
  std::vector<std::string> paths;
  for (std::size_t begin = 0; begin < list.size();) {
    const std::size_t end = std::min(list.find(':', begin), list.size());
    if (end > begin) {
      paths.push_back(list.substr(begin, end - begin));
    }
    begin = end + 1;
  }
  return paths;
}

}  // namespace Ferrolink::Companions::Tool
