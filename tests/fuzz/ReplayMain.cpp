// Feeds inputs to a fuzz target, once each, for compilers without a fuzzer.
//
//     usage: NAME FILE|DIRECTORY ...     ignores arguments that begin with "-"
#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>

#include "tests/fuzz/Fuzzing.h"

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> InputsOf(int argc, char** argv) {
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const fs::path given = argv[i];
    if (fs::is_directory(given)) {
      std::copy(fs::directory_iterator(given), {}, std::back_inserter(inputs));
    } else if (!given.string().starts_with('-')) {
      inputs.push_back(given);
    }
  }
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

// Prints the name first: the last one printed is the input that ended the process.
void Feed(const fs::path& input) {
  std::printf("%s\n", input.filename().c_str());
  std::fflush(stdout);
  std::ifstream file(input, std::ios::binary);
  Ferrolink::Fuzz::Require(file.is_open(), "an input can be opened");
  const Ferrolink::Fuzz::Bytes bytes{std::istreambuf_iterator<char>(file), {}};
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  try {
    LLVMFuzzerInitialize(&argc, &argv);
    const std::vector<fs::path> inputs = InputsOf(argc, argv);
    Ferrolink::Fuzz::Require(!inputs.empty(), "there are inputs");
    std::for_each(inputs.begin(), inputs.end(), Feed);
    std::printf("%zu inputs\n", inputs.size());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "An exception left the fuzz target: %s\n", error.what());
    return 1;
  }
}
