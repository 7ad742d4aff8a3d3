// ferrolink: tells what is wrong with a machine, what an error means, and runs programs and calls.
#include <cstring>
#include <exception>

#include "companions/tool/CommandLine.h"
#include "companions/tool/Commands.h"
#include "companions/tool/Failure.h"

using namespace Ferrolink::Companions::Tool;

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
