// Three frames of two languages on one thread: this program calls a Java handler, which calls a C++
// function of this program for each sentence that it finds.
// usage: three-frames HANDLER_ARCHIVE FILE      (examples/README.md tells how to run it)
// Exit code 0 only if everything that it shows held.
#include <ferrolink/Caller.h>
#include <ferrolink/CppRuntime.h>
#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::Caller;
using Ferrolink::Cpp::Runtime;
using Span = std::span<const std::uint8_t>;

namespace {

constexpr std::size_t kMostLines = 6;

// The results of the innermost frame, for the outermost one. Used by the main thread only.
struct Innermost {
  bool onMainThread = true;
  std::vector<std::string> fingerprints;
};

void Require(bool held, const std::string& what) {
  if (!held) {
    throw std::runtime_error("did not hold: " + what);
  }
}

Bytes ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

// FNV-1a, as eight hexadecimal digits.
std::string FingerprintOf(Span bytes) {
  std::uint32_t hash = 2166136261U;
  for (const std::uint8_t byte : bytes) {
    hash = (hash ^ byte) * 16777619U;
  }
  std::array<char, 9> digits{};
  std::snprintf(digits.data(), digits.size(), "%08x", hash);
  return digits.data();
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

void Print(const std::vector<std::string>& lines) {
  for (std::size_t i = 0; i < lines.size() && i < kMostLines; ++i) {
    std::printf("  %s\n", lines[i].c_str());
  }
  if (lines.size() > kMostLines) {
    std::printf("  and %zu more\n", lines.size() - kMostLines);
  }
}

void Run(const std::string& archive, const std::string& path) {
  const Bytes text = ReadFile(path);
  Innermost innermost;
  const auto mainThread = std::this_thread::get_id();
  Ferrolink::Cpp::Register("fingerprint", [&](Span sentence) {
    innermost.onMainThread &= std::this_thread::get_id() == mainThread;
    innermost.fingerprints.push_back(FingerprintOf(sentence));
    return Ferrolink::Cpp::ToBytes(innermost.fingerprints.back());
  });

  const Caller caller;
  caller.LoadLibrary(Runtime::Jvm, archive);
  const Bytes reply = caller.Call(Runtime::Jvm, "sentences", text);
  Ferrolink::Cpp::Unregister("fingerprint");

  const std::vector<std::string> lines = LinesOf(Ferrolink::Cpp::ToText(reply));
  std::printf("Java found %zu sentences, and C++ gave each a fingerprint:\n", lines.size());
  Print(lines);
  Require(innermost.onMainThread, "the innermost frame is on the thread of the outermost one");
  Require(innermost.fingerprints.size() == lines.size(), "C++ was called for every sentence");
  for (std::size_t i = 0; i < lines.size(); ++i) {
    Require(lines[i].starts_with(innermost.fingerprints[i]), "Java reports what C++ answered");
  }
  std::printf("All of it was one call of main: C++, Java and C++ on one thread.\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s HANDLER_ARCHIVE FILE\n", argv[0]);
    return 2;
  }
  try {
    Run(argv[1], argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "three-frames: %s\n", error.what());
    return 1;
  }
}
