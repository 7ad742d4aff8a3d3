// Feeds inputs to a fuzz target, once each, where the compiler has no fuzzer.
// usage: NAME FILE|DIRECTORY ...     Arguments that begin with "-" are a fuzzer's and mean nothing.
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

// Named before it runs: an input that ends the process is the last one.
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
