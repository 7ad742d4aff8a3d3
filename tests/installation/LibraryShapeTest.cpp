// What the native libraries of the installation tree look like to the loader and to other
// libraries.
#include <cxxabi.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "tests/installation/ElfFile.h"

using Ferrolink::Tests::ElfFile;
using Ferrolink::Tests::ElfSymbol;

namespace {

struct Library {
  std::string name;
  std::string file;
  std::string exports;              ///< the list of what it exports
  std::set<std::string> more = {};  ///< what it needs beyond the C and C++ libraries
};

void PrintTo(const Library& library, std::ostream* out) {
  *out << library.name;
}

const std::vector<Library> kLibraries = {
    {"JvmRuntimeNative", FERROLINKJVMRUNTIMENATIVE_PATH, "exports.txt"},
#if defined(CONFIGS_PATH)
    {"Configs", CONFIGS_PATH, "exports-configs.txt"},
#endif
#if defined(UTILS_PATH)
    {"Utils", UTILS_PATH, "exports-utils.txt"},
#endif
    {"TcpClient", FERROLINKTCPCLIENT_PATH, "exports-tcp.txt"},
    {"TcpTlsClient",
     FERROLINKTCPTLSCLIENT_PATH,
     "exports-tcp.txt",
     {"libssl.so.3", "libcrypto.so.3"}},
};

class LibraryShape : public testing::TestWithParam<Library> {
 protected:
  const ElfFile m_library{GetParam().file};
};

std::string Demangled(const std::string& name) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(
      abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
  return status == 0 ? text.get() : name;
}

std::set<std::string> Listed(const std::string& file) {
  std::ifstream list(std::string(FERROLINK_EXPORT_LISTS) + "/" + file);
  std::set<std::string> lines;
  for (std::string line; std::getline(list, line);) {
    lines.insert(line);
  }
  return lines;
}

/// What is in the first and not in the second, one line each.
std::string Surplus(const std::set<std::string>& first, const std::set<std::string>& second) {
  std::string lines;
  for (const std::string& line : first) {
    if (!second.contains(line)) {
      lines += line + "\n";
    }
  }
  return lines;
}

// The complete constructor of an abstract class: nobody can call it, and not every compiler emits
// it.
constexpr const char* kUncallable =
    "_ZN9Ferrolink6Native8Launcher14NativeLauncherC1ENS0_11Definitions20RuntimeOperationModeE";

}  // namespace

TEST_P(LibraryShape, NeedsTheCAndCxxLibrariesAlone) {
  std::set<std::string> allowed = {"libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6"};
  allowed.insert(GetParam().more.begin(), GetParam().more.end());
  for (const std::string& name : m_library.Needed()) {
    EXPECT_TRUE(allowed.contains(name)) << name;
  }
  EXPECT_FALSE(m_library.Needed().empty());
}

TEST_P(LibraryShape, BindsItsOwnSymbolsToItself) {
  EXPECT_TRUE(m_library.Has(DT_SYMBOLIC) || m_library.HasFlags(DT_FLAGS, DF_SYMBOLIC));
}

TEST_P(LibraryShape, SharesNoSymbolAcrossTheProcess) {
  for (const ElfSymbol& symbol : m_library.Symbols()) {
    EXPECT_NE(symbol.binding, static_cast<unsigned>(STB_GNU_UNIQUE)) << symbol.name;
  }
}

TEST_P(LibraryShape, LeavesTheHostsStandardStreamsAlone) {
  const std::set<std::string> streams = {"_ZSt3cin",   "_ZSt4cout",  "_ZSt4cerr",
                                         "_ZSt4clog",  "_ZSt4wcin",  "_ZSt5wcout",
                                         "_ZSt5wcerr", "_ZSt5wclog", "_ZNSt8ios_base4InitC1Ev"};
  for (const ElfSymbol& symbol : m_library.Symbols()) {
    EXPECT_FALSE(streams.contains(symbol.name)) << symbol.name;
  }
}

TEST_P(LibraryShape, ExportsWhatIsListedAndNothingElse) {
  std::set<std::string> exported;
  for (const ElfSymbol& symbol : m_library.Symbols()) {
    if (symbol.defined && symbol.name != kUncallable) {
      exported.insert(symbol.name + " " + Demangled(symbol.name));
    }
  }
  const std::set<std::string> expected = Listed(GetParam().exports);
  EXPECT_EQ(Surplus(exported, expected), "") << "exported but not listed";
  EXPECT_EQ(Surplus(expected, exported), "") << "listed but not exported";
  EXPECT_FALSE(expected.empty());
}

INSTANTIATE_TEST_SUITE_P(Installed, LibraryShape, testing::ValuesIn(kLibraries),
                         [](const auto& each) { return each.param.name; });
