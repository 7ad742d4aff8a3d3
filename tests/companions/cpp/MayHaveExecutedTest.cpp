#include <array>
#include <fstream>
#include <map>
#include <new>
#include <set>
#include <sstream>
#include <system_error>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Cpp;

// Parses "001 to 003, 007".
std::set<int> CodesIn(const std::string& cell) {
  std::set<int> codes;
  std::istringstream ranges(cell);
  for (std::string range; std::getline(ranges, range, ',');) {
    const std::size_t to = range.find(" to ");
    const int first = std::stoi(range);
    const int last = to == std::string::npos ? first : std::stoi(range.substr(to + 4));
    for (int code = first; code <= last; ++code) {
      codes.insert(code);
    }
  }
  return codes;
}

// The table of docs/errors.md: prefixes, and the codes of commands that were not executed.
std::map<std::string, std::set<int>> DocumentedCodes() {
  std::map<std::string, std::set<int>> documented;
  std::ifstream page(DOCS "/errors.md");
  std::string row;
  while (std::getline(page, row) &&
         row != "| Prefix | Codes of commands that were not executed |") {
  }
  std::getline(page, row);
  while (std::getline(page, row) && row.starts_with("| `")) {
    const std::size_t end = row.find('`', 3);
    documented[row.substr(3, end - 3)] = CodesIn(row.substr(end + 3));
  }
  return documented;
}

std::string TextOf(const std::string& prefix, int code) {
  std::array<char, 16> digits{};
  std::snprintf(digits.data(), digits.size(), "%03d", code);
  return prefix + ": Exception code " + digits.data() + ".\nText";
}

TEST(MayHaveExecuted, IsFalseForTheCodesThatTheDocumentationHasAndNoOthers) {
  auto documented = DocumentedCodes();
  EXPECT_EQ(documented.size(), 4U);
  EXPECT_EQ(documented["Network Client"], (std::set<int>{1, 3, 4, 5, 6, 8, 9}));
  documented["Cpp Launcher"] = {};
  documented["Python Launcher"] = {};
  for (const auto& [prefix, codes] : documented) {
    for (int code = 0; code < 1000; ++code) {
      EXPECT_EQ(LibraryError(TextOf(prefix, code)).MayHaveExecuted(), !codes.contains(code))
          << TextOf(prefix, code);
    }
  }
}

TEST(MayHaveExecuted, IsTrueForTextsWithoutACode) {
  for (const char* text :
       {"", "no code", ": Exception code 001.", "JVM Launcher: Exception code ",
        "JVM Launcher: Exception code x", "x JVM Launcher: Exception code 018.",
        "JVM Launcher: Exception code 99999999999.", "JVM Launcher: Exception code -1."}) {
    EXPECT_TRUE(LibraryError(text).MayHaveExecuted()) << text;
  }
}

TEST(MayHaveExecuted, DependsOnTheClassOfOtherErrors) {
  EXPECT_FALSE(InstallationError("x").MayHaveExecuted());
  EXPECT_TRUE(RemoteError(TextOf("JVM Launcher", 18)).MayHaveExecuted());
  EXPECT_TRUE(ProtocolError("x").MayHaveExecuted());
  EXPECT_FALSE(ProtocolError("x", false).MayHaveExecuted());
  EXPECT_TRUE(LibraryError(TextOf("JVM Launcher", 18), true).MayHaveExecuted());
}

/// A role whose operations raise a chosen exception.
struct RaisingRole {
  std::function<void()> inSend = [] {};
  std::function<void()> inRead = [] {};

  int SendCommand(const std::uint8_t* /*command*/, int /*size*/) const {
    inSend();
    return 11;
  }
  int ReadResponse(const std::uint8_t* /*buffer*/, int /*size*/) const {
    inRead();
    return 0;
  }
};

template <class Expected>
std::string RaisedBy(RaisingRole role) {
  Bytes command = Ferrolink::Protocol::EmptyCommand({.target = Runtime::Jvm}, 2);
  try {
    Ferrolink::Host::Exchange(role, command, "A role");
    return "nothing";
  } catch (const Expected& error) {
    return std::string(error.MayHaveExecuted() ? "perhaps: " : "no: ") + error.what();
  }
}

template <class Error>
std::function<void()> Raising(const Error& error) {
  return [error] { throw error; };
}

TEST(MayHaveExecuted, IsToldOfLibrariesErrorsWhoseTextsStay) {
  const std::string early = TextOf("JVM Launcher", 18);
  const auto raised = Raising(std::runtime_error(early));
  EXPECT_EQ(RaisedBy<LibraryError>({.inSend = raised}), "no: " + early);
  EXPECT_EQ(RaisedBy<LibraryError>({.inRead = raised}), "perhaps: " + early);
  const std::string late = TextOf("Network Client", 2);
  EXPECT_EQ(RaisedBy<LibraryError>({.inSend = Raising(std::runtime_error(late))}),
            "perhaps: " + late);
}

TEST(MayHaveExecuted, OfANetworkClientThatGivesUpIsADeadlineError) {
  const std::string unsent = TextOf("Network Client", 9);
  EXPECT_EQ(RaisedBy<DeadlineError>({.inSend = Raising(std::runtime_error(unsent))}),
            "no: " + unsent);
  const std::string sent = TextOf("Network Client", 10);
  EXPECT_EQ(RaisedBy<DeadlineError>({.inSend = Raising(std::runtime_error(sent))}),
            "perhaps: " + sent);
}

TEST(MayHaveExecuted, LeavesFailuresOfTheSystemAndOfMemoryAlone) {
  const auto system = std::make_error_code(std::errc::resource_unavailable_try_again);
  EXPECT_THROW(RaisedBy<LibraryError>({.inSend = Raising(std::system_error(system))}),
               std::system_error);
  EXPECT_THROW(RaisedBy<LibraryError>({.inRead = Raising(std::bad_alloc())}), std::bad_alloc);
}

}  // namespace
}  // namespace Ferrolink::Tests
