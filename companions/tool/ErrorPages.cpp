#include "companions/tool/ErrorPages.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>
#include <stdexcept>

#include "companions/tool/EmbeddedPages.h"

namespace Ferrolink::Companions::Tool {
namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return lower;
}

// The text of a section, one line per paragraph, without the marks of code.
std::string Section(std::string_view page, std::string_view heading) {
  const std::string line = "\n## " + std::string(heading) + "\n\n";
  const std::size_t begin = page.find(line);
  if (begin == std::string_view::npos) {
    throw std::logic_error("A page of docs/errors has no section " + std::string(heading) + ".");
  }
  std::string_view body = page.substr(begin + line.size());
  body = body.substr(0, body.find("\n## "));
  std::string text;
  for (std::size_t at = 0; at < body.size(); ++at) {
    const bool paragraph = body.substr(at, 2) == "\n\n";
    if (body[at] != '`') {
      text += body[at] != '\n' || paragraph ? body[at] : ' ';
    }
    at += paragraph ? 1 : 0;
  }
  return text.substr(0, text.find_last_not_of(" \n") + 1);
}

ErrorPage PageOf(std::string_view file) {
  std::map<std::string, std::string> keys;
  std::istringstream lines{std::string(file)};
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line) && line != "---") {
    const std::size_t colon = line.find(": ");
    keys[line.substr(0, colon)] = line.substr(colon + 2);
  }
  return {keys["prefix"],         keys["code"],           keys["title"],
          keys["text"],           keys["executed"],       keys["source"],
          Section(file, "Cause"), Section(file, "Check"), Section(file, "Remedy")};
}

std::vector<ErrorPage> ReadPages() {
  std::vector<ErrorPage> pages;
  for (const std::string_view file : EmbeddedPages()) {
    pages.push_back(PageOf(file));
  }
  return pages;
}

using Pages = std::vector<const ErrorPage*>;

template <class Condition>
Pages PagesWhere(Condition condition) {
  Pages found;
  for (const ErrorPage& page : ErrorPages()) {
    if (condition(page)) {
      found.push_back(&page);
    }
  }
  return found;
}

// In the order in which the text names them.
Pages QuotedIn(std::string_view text) {
  std::map<std::size_t, const ErrorPage*> places;
  for (const ErrorPage& page : ErrorPages()) {
    const std::size_t place = page.code.empty()
                                  ? std::string_view::npos
                                  : text.find(page.prefix + ": Exception code " + page.code);
    if (place != std::string_view::npos) {
      places[place] = &page;
    }
  }
  Pages found;
  for (const auto& [place, page] : places) {
    found.push_back(page);
  }
  return found;
}

// Whether the text has the words of the pattern outside of <...>, in their order.
bool Matches(const std::string& text, std::string_view pattern) {
  std::size_t at = 0;
  while (!pattern.empty()) {
    const std::size_t size = std::min(pattern.find('<'), pattern.size());
    at = text.find(pattern.substr(0, size), at);
    if (at == std::string::npos) {
      return false;
    }
    at += size;
    pattern.remove_prefix(std::min(pattern.find('>', size), pattern.size() - 1) + 1);
  }
  return true;
}

// The pages without a code whose texts the query has.
Pages WithTextIn(const std::string& query) {
  return PagesWhere([&](const ErrorPage& page) {
    const std::string texts = page.code.empty() ? Lower(page.text) : "";
    constexpr std::string_view kBetween = " | ";
    for (std::size_t begin = 0; begin < texts.size();) {
      const std::size_t end = std::min(texts.find(kBetween, begin), texts.size());
      if (Matches(query, std::string_view(texts).substr(begin, end - begin))) {
        return true;
      }
      begin = end + kBetween.size();
    }
    return false;
  });
}

// A code with or without its prefix.
Pages Named(const std::string& query) {
  const std::size_t digits = query.find_last_not_of("0123456789") + 1;
  if (digits == query.size() || query.size() - digits > 3) {
    return {};
  }
  const std::string code = std::string(3 - (query.size() - digits), '0') + query.substr(digits);
  std::string prefix = query.substr(0, digits);
  std::replace(prefix.begin(), prefix.end(), '-', ' ');
  prefix.erase(prefix.find_last_not_of(' ') + 1);
  return PagesWhere([&](const ErrorPage& page) {
    return page.code == code && (prefix.empty() || Lower(page.prefix) == prefix);
  });
}

Pages WithWords(const std::string& query) {
  std::istringstream words(query);
  std::vector<std::string> wanted;
  for (std::string word; words >> word;) {
    wanted.push_back(word);
  }
  return PagesWhere([&](const ErrorPage& page) {
    const std::string all = Lower(page.prefix + " " + page.title + " " + page.text + " " +
                                  page.cause + " " + page.check + " " + page.remedy);
    return !wanted.empty() && std::all_of(wanted.begin(), wanted.end(), [&](const auto& word) {
      return all.find(word) != std::string::npos;
    });
  });
}

}  // namespace

const std::vector<ErrorPage>& ErrorPages() {
  static const std::vector<ErrorPage> pages = ReadPages();
  return pages;
}

std::vector<const ErrorPage*> FindErrorPages(std::string_view query) {
  Pages found = QuotedIn(query);
  const std::string lower = Lower(query);
  if (found.empty()) {
    found = Named(lower);
  }
  if (found.empty()) {
    found = WithTextIn(lower);
  }
  if (found.empty()) {
    found = WithWords(lower);
  }
  return found;
}

}  // namespace Ferrolink::Companions::Tool
