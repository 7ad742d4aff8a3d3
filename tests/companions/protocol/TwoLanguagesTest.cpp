// Java's side of the protocol beside that of C++.
#include <ferrolink/protocol/CommandParts.h>
#include <ferrolink/protocol/Commands.h>
#include <ferrolink/protocol/Replies.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/companions/protocol/Hex.h"
#include "tests/support/Jdks.h"

using namespace Ferrolink::Protocol;
using Ferrolink::Tests::Hex;
using Ferrolink::Tests::InstalledJdks;
using Lines = std::vector<std::string>;

namespace {

const Bytes kPayload = {0, 127, 128, 255};
constexpr Route kCpp = {.target = Runtime::Cpp, .caller = Runtime::Jvm};
constexpr Route kJvm = {.target = Runtime::Jvm, .caller = Runtime::Jvm};
constexpr Route kTcp = {.target = Runtime::Python,
                        .caller = Runtime::Jvm,
                        .channel = Header::kChannelTcp,
                        .address = {127, 0, 200, 1},
                        .port = 8080};
constexpr Route kTls = {.target = Runtime::Ruby,
                        .caller = Runtime::Jvm,
                        .channel = Header::kChannelTls,
                        .address = {10, 1, 2, 3},
                        .port = 65535};

std::string ContentOf(const std::string& header) {
  std::ifstream file(INTERFACES "/" + header);
  return {std::istreambuf_iterator<char>(file), {}};
}

// kTypeHeartBeat: TYPE_HEART_BEAT.
std::string JavaName(const std::string& name) {
  std::string java;
  for (const char letter : name) {
    java += !java.empty() && std::isupper(static_cast<unsigned char>(letter)) != 0 ? "_" : "";
    java += static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  }
  return java;
}

// The lines of all numbers that the header defines; `pattern` has the name and the number.
Lines NumbersIn(const std::string& header, const std::string& word, const std::string& pattern,
                std::string (*name)(const std::string&)) {
  const std::string content = ContentOf(header);
  const std::regex definition(pattern);
  Lines lines;
  for (std::sregex_iterator at(content.begin(), content.end(), definition), end; at != end; ++at) {
    lines.push_back(word + " " + name((*at)[1]) + " " + (*at)[2].str());
  }
  return lines;
}

Lines ConstantsOfCpp() {
  return NumbersIn("CommandHeader.h", "constant", R"(inline constexpr \S+ k(\w+) = (\d+);)",
                   JavaName);
}

Lines RuntimesOfCpp() {
  return NumbersIn("Runtime.h", "runtime", R"((\w+) = (\d+),)",
                   [](const std::string& name) { return name; });
}

Lines LinesOfJava(const std::string& javaHome, const std::string& arguments = "") {
  const std::string command =
      javaHome + "/bin/java -cp " CLASS_PATH " com.ferrolink.ProtocolBytes " + arguments;
  std::FILE* output = popen(command.c_str(), "re");
  std::string text;
  for (int byte = std::fgetc(output); byte != EOF; byte = std::fgetc(output)) {
    text += static_cast<char>(byte);
  }
  EXPECT_EQ(pclose(output), 0) << javaHome;
  Lines lines;
  for (std::size_t start = 0; start < text.size(); start = text.find('\n', start) + 1) {
    lines.push_back(text.substr(start, text.find('\n', start) - start));
  }
  return lines;
}

Lines WithWord(const Lines& lines, const std::string& word) {
  Lines chosen;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(chosen),
               [&](const std::string& line) { return line.starts_with(word + " "); });
  return chosen;
}

}  // namespace

TEST(ProtocolInTwoLanguages, HasTheSameConstantsUnderTheSameNames) {
  const std::string header = ContentOf("CommandHeader.h");
  const std::string mark = "inline constexpr ";
  Lines constants = ConstantsOfCpp();
  std::size_t definitions = 0;
  for (std::size_t at = 0; (at = header.find(mark, at)) != std::string::npos; at += mark.size()) {
    ++definitions;
  }
  EXPECT_EQ(constants.size(), definitions) << "a constant that is no plain number is not compared";
  EXPECT_THAT(constants,
              testing::Contains("constant LIBRARY_PATH " + std::to_string(Header::kLibraryPath)));
  for (const auto& jdk : InstalledJdks()) {
    EXPECT_THAT(WithWord(LinesOfJava(jdk), "constant"),
                testing::UnorderedElementsAreArray(constants))
        << jdk;
  }
}

TEST(ProtocolInTwoLanguages, HasTheSameRuntimes) {
  const Lines runtimes = RuntimesOfCpp();
  EXPECT_EQ(runtimes.size(), 11U);
  for (const auto& jdk : InstalledJdks()) {
    EXPECT_THAT(WithWord(LinesOfJava(jdk), "runtime"), testing::ElementsAreArray(runtimes)) << jdk;
  }
}

TEST(ProtocolInTwoLanguages, BuildsTheSameCommandsAndRepliesByteForByte) {
  const Bytes heartbeat = HeartBeatCommand(kJvm, AsBytes("12"));
  Bytes answer = EmptyAnswer(CallerOf(heartbeat), Runtime::Jvm);
  answer.insert(answer.end(), kPayload.begin(), kPayload.end());
  const Lines expected = {
      "call " + Hex(CallCommand(kCpp, "echo", kPayload)),
      "call-tcp " + Hex(CallCommand(kTcp, "\xC3\xBC", {})),
      "call-within " + Hex(CallWithinCommand(kTls, 0x010280FF, "echo", kPayload)),
      "call-within-longest " + Hex(CallWithinCommand(kTls, 0xFFFFFFFF, "echo", kPayload)),
      "load " + Hex(LoadLibraryCommand(kTcp, "/\xC3\xBC.so")),
      "heartbeat " + Hex(HeartBeatCommand(kCpp, AsBytes("12"))),
      "answer " + Hex(answer),
      "report " + Hex(ExceptionReport(8, Runtime::Jvm, "\xC3\xBC")),
      "heartbeat-answer " + Hex(HeartBeatAnswer(heartbeat, Runtime::Jvm)),
      "loaded " + Hex(LibraryLoadedAnswer(Runtime::Jvm)),
  };
  for (const auto& jdk : InstalledJdks()) {
    Lines built = LinesOfJava(jdk);
    std::erase_if(built, [](const std::string& line) {
      return line.starts_with("constant ") || line.starts_with("runtime ");
    });
    EXPECT_THAT(built, testing::ElementsAreArray(expected)) << jdk;
  }
}

TEST(ProtocolInTwoLanguages, ReadsTheSameInACall) {
  const Bytes call = CallCommand(kJvm, "echo", kPayload);
  const Bytes within = CallWithinCommand(kJvm, 4, std::string(255, 'n'), {});
  for (const auto& jdk : InstalledJdks()) {
    EXPECT_THAT(WithWord(LinesOfJava(jdk, Hex(call) + " " + Hex(within)), "read"),
                testing::ElementsAre("read echo 007F80FF", "read " + std::string(255, 'n') + " "))
        << jdk;
  }
  EXPECT_EQ(CallOf(call).name, "echo");
  EXPECT_EQ(Hex(CallOf(call).payload), "007F80FF");
  EXPECT_EQ(CallOf(within).name, std::string(255, 'n'));
  EXPECT_TRUE(CallOf(within).payload.empty());
}
