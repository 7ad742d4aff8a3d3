// ferrolink explain: the pages of docs/errors.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "companions/tool/Commands.h"
#include "companions/tool/ErrorPages.h"
#include "companions/tool/Failure.h"
#include "companions/tool/Terminal.h"

namespace Ferrolink::Companions::Tool {
namespace {

constexpr std::size_t kMostInFull = 3;

void PrintPart(const char* name, const std::string& text) {
  std::printf("  %-9s %s\n", name, Wrapped(text, 12).c_str());
}

std::string Executed(const std::string& key) {
  const std::string answer = key.substr(0, key.find(';'));
  if (answer != key) {
    return answer + ": no command was executed" + key.substr(answer.size());
  }
  return answer == "no"    ? "no: no command was executed; it may be sent again"
         : answer == "yes" ? "yes: the command was executed"
                           : "perhaps: the command may have been executed";
}

void PrintPage(const ErrorPage& page) {
  const std::string heading =
      page.code.empty() ? page.title : page.prefix + ": Exception code " + page.code;
  std::printf("%s\n", Styled(STDOUT_FILENO, Style::Heading, heading).c_str());
  if (!page.code.empty()) {
    PrintPart("meaning", page.title);
  }
  PrintPart("text", page.text);
  PrintPart("cause", page.cause);
  PrintPart("check", page.check);
  PrintPart("remedy", page.remedy);
  PrintPart("executed", Executed(page.executed));
  PrintPart("source", page.source);
}

}  // namespace

void PrintError(const std::string& text) {
  std::fprintf(stderr, "%s %s\n", Styled(STDERR_FILENO, Style::Bad, "ferrolink:").c_str(),
               text.c_str());
  if (text.find(": Exception code ") == std::string::npos) {
    return;
  }
  if (const auto pages = FindErrorPages(text); !pages.empty() && !pages.front()->code.empty()) {
    const ErrorPage& page = *pages.front();
    std::fprintf(stderr, "What to do: %s\n(ferrolink explain '%s %s')\n", page.remedy.c_str(),
                 page.prefix.c_str(), page.code.c_str());
  }
}

void Explain(const std::vector<std::string>& words) {
  std::string query;
  for (const std::string& word : words) {
    query += (query.empty() ? "" : " ") + word;
  }
  const auto pages = FindErrorPages(query);
  if (pages.empty()) {
    throw Failure(
        "No error is known by '" + Shown(query) +
        "'. Give a code (JVM Launcher 016, or 16), the text of an error, or words of it. For what "
        "is no text of an error look in the page symptoms.md of the documentation, and run "
        "ferrolink doctor.");
  }
  if (pages.size() <= kMostInFull) {
    for (std::size_t i = 0; i < pages.size(); ++i) {
      std::printf("%s", i == 0 ? "" : "\n");
      PrintPage(*pages[i]);
    }
    return;
  }
  for (const ErrorPage* page : pages) {
    const std::string name =
        page->code.empty() ? "without a code" : page->prefix + " " + page->code;
    std::printf("%s  %s\n", name.c_str(), page->title.c_str());
  }
}

}  // namespace Ferrolink::Companions::Tool
