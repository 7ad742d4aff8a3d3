// Mutated bytes for the decoders of typed calls.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/companions/objects/CodecDriver.h"
#include "tests/companions/objects/FakeBroker.h"
#include "tests/support/Counts.h"

namespace Ferrolink::Tests {
namespace {

std::vector<Bytes> Corpus() {
  std::vector<Bytes> inputs;
  for (const auto& file : std::filesystem::directory_iterator(OBJECTS_CORPUS)) {
    std::ifstream stream(file.path(), std::ios::binary);
    inputs.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  }
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

/// Changes, adds, removes and repeats bytes.
class Mutator {
 public:
  explicit Mutator(unsigned seed) : m_random(seed) {}

  Bytes Mutate(const std::vector<Bytes>& corpus) {
    Bytes bytes = corpus.at(Below(corpus.size()));
    for (std::size_t changes = 1 + Below(4); changes != 0; --changes) {
      Change(bytes, corpus);
    }
    return bytes;
  }

 private:
  std::size_t Below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(m_random);
  }

  void Change(Bytes& bytes, const std::vector<Bytes>& corpus) {
    if (bytes.empty()) {
      bytes.push_back(static_cast<std::uint8_t>(Below(256)));
      return;
    }
    const auto at = static_cast<std::ptrdiff_t>(Below(bytes.size()));
    static constexpr std::array<std::uint8_t, 8> kTelling = {0, 1, 2, 0x7F, 0x80, 0xFE, 0xFF, 32};
    switch (Below(6)) {
      case 0:
        bytes[static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(Below(256));
        return;
      case 1:
        bytes[static_cast<std::size_t>(at)] = kTelling.at(Below(kTelling.size()));
        return;
      case 2:
        bytes.erase(
            bytes.begin() + at,
            bytes.begin() + at + 1 +
                static_cast<std::ptrdiff_t>(Below(bytes.size() - static_cast<std::size_t>(at))));
        return;
      case 3:
        bytes.insert(bytes.begin() + at, 1 + Below(8), static_cast<std::uint8_t>(Below(18)));
        return;
      case 4: {
        const Bytes& other = corpus.at(Below(corpus.size()));
        const auto from = static_cast<std::ptrdiff_t>(Below(other.size() + 1));
        bytes.insert(bytes.begin() + at, other.begin() + from, other.end());
        return;
      }
      default: {
        const Bytes tail(bytes.begin() + at, bytes.end());
        bytes.insert(bytes.end(), tail.begin(), tail.end());
      }
    }
  }

  std::mt19937 m_random;
};

TEST(ObjectMutations, EveryInputIsReadOrRefusedWithAText) {
  const long count = CountOr("TEST_MUTATED_INPUTS", 20'000);
  const auto seed = static_cast<unsigned>(CountOr("TEST_MUTATION_SEED", 1));
  const std::vector<Bytes> corpus = Corpus();
  ASSERT_GE(corpus.size(), 21U);
  Mutator mutator(seed);
  for (long number = 0; number < count; ++number) {
    const Bytes input = mutator.Mutate(corpus);
    DriveCodec(input);
  }
  RecordProperty("inputs", std::to_string(count));
}

}  // namespace
}  // namespace Ferrolink::Tests
