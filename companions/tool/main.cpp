// ferrolink: tells what is wrong with a machine, what an error means, and runs programs and calls.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "companions/tool/CommandLine.h"
#include "companions/tool/ErrorPages.h"
#include "companions/tool/Failure.h"
#include "companions/tool/Terminal.h"

namespace {

using namespace Ferrolink::Companions::Tool;

void PrintError(const std::string& text) {
  std::fprintf(stderr, "%s %s\n", Styled(STDERR_FILENO, Style::Bad, "ferrolink:").c_str(),
               text.c_str());
  if (text.find(": Exception code ") == std::string::npos) {
    return;
  }
  if (const auto pages = FindErrorPages(text); !pages.empty()) {
    const ErrorPage& page = *pages.front();
    std::fprintf(stderr, "What to do: %s\n(ferrolink explain '%s %s')\n", page.remedy.c_str(),
                 page.prefix.c_str(), page.code.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return ObeyCommandLine(argc, argv);
  } catch (const std::exception& error) {
    PrintError(error.what());
    // An examination that was not possible is another result than findings.
    const bool examines = argc > 1 && std::strcmp(argv[1], "doctor") == 0;
    return examines ? kNotPossible : kFailed;
  }
}
