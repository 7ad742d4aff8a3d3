// What compiler and linker were asked to put into the installed files against attacks, read from
// the files.
#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "tests/installation/ElfFile.h"

using Ferrolink::Tests::ElfFile;
using Ferrolink::Tests::ElfSymbol;

namespace {

struct Installed {
  std::string name;
  std::string file;
  std::set<std::string> checked = {};  ///< checked variants of C functions that it must call
  bool exports = true;
};

void PrintTo(const Installed& installed, std::ostream* out) {
  *out << installed.name;
}

// The C++ member calls no C function whose buffer's size the compiler could know.
const std::vector<Installed> kInstalled = {
    {"JvmRuntimeNative", FERROLINKJVMRUNTIMENATIVE_PATH, {"__snprintf_chk"}},
    {"CppRuntimeNative", FERROLINKCPPRUNTIMENATIVE_PATH},
    {"Configs", CONFIGS_PATH, {"__snprintf_chk"}},
    {"Utils", UTILS_PATH, {"__snprintf_chk"}},
    {"TcpClient", FERROLINKTCPCLIENT_PATH, {"__memcpy_chk"}},
    {"TcpTlsClient", FERROLINKTCPTLSCLIENT_PATH, {"__memcpy_chk"}},
    {"Server", FERROLINK_SERVER_PATH, {"__sprintf_chk"}, false},
};

constexpr const char* kBranchTarget = "\xf3\x0f\x1e\xfa";  // endbr64

class Hardening : public testing::TestWithParam<Installed> {
 protected:
  [[nodiscard]] bool RefersTo(const std::string& name) const {
    for (const ElfSymbol& symbol : m_file.Symbols()) {
      if (!symbol.defined && symbol.name == name) {
        return true;
      }
    }
    return false;
  }

  const ElfFile m_file{GetParam().file};
};

}  // namespace

TEST_P(Hardening, TheFileIsResolvedAtOnceAndThenReadOnly) {
  EXPECT_TRUE(m_file.Has(DT_BIND_NOW) || m_file.HasFlags(DT_FLAGS, DF_BIND_NOW));
  EXPECT_TRUE(m_file.HasFlags(DT_FLAGS_1, DF_1_NOW));
  EXPECT_EQ(m_file.Segments(PT_GNU_RELRO).size(), 1u);
}

TEST_P(Hardening, TheFileLiesAnywhereInMemory) {
  // Position-independent, which ElfFile demands; a program says so in its flags as well.
  EXPECT_EQ(m_file.HasFlags(DT_FLAGS_1, DF_1_PIE), !GetParam().exports);
  EXPECT_FALSE(m_file.Has(DT_TEXTREL));
  EXPECT_FALSE(m_file.HasFlags(DT_FLAGS, DF_TEXTREL));
}

TEST_P(Hardening, TheFileNamesNoPathToSearch) {
  EXPECT_FALSE(m_file.Has(DT_RPATH));
  EXPECT_FALSE(m_file.Has(DT_RUNPATH));
}

TEST_P(Hardening, NoMemoryIsWrittenAndExecuted) {
  const auto stack = m_file.Segments(PT_GNU_STACK);
  ASSERT_EQ(stack.size(), 1u);
  EXPECT_EQ(stack.front()->p_flags & PF_X, 0u);
  for (const Elf64_Phdr& segment : m_file.Segments()) {
    EXPECT_NE(segment.p_flags & (PF_W | PF_X), static_cast<Elf64_Word>(PF_W | PF_X));
  }
}

TEST_P(Hardening, EveryExportedFunctionIsABranchTarget) {
  int functions = 0;
  for (const ElfSymbol& symbol : m_file.Symbols()) {
    if (symbol.defined && symbol.type == STT_FUNC) {
      EXPECT_EQ(m_file.Bytes(symbol.address, 4), kBranchTarget) << symbol.name;
      ++functions;
    }
  }
  EXPECT_EQ(functions > 0, GetParam().exports);
}

TEST_P(Hardening, FunctionsCheckTheirStackAndTheSizesOfTheirBuffers) {
  EXPECT_TRUE(RefersTo("__stack_chk_fail"));
  for (const std::string& function : GetParam().checked) {
    EXPECT_TRUE(RefersTo(function)) << function;
  }
}

// GCC records its options in the debugging information, one text for each set of them.
#if !defined(__clang__)
TEST_P(Hardening, EverySourceWasCompiledWithTheOptions) {
  const std::string texts = m_file.Section(".debug_str");
  int compilations = 0;
  for (std::size_t start = 0; start < texts.size(); start = texts.find('\0', start) + 1) {
    const std::string text = texts.c_str() + start;
    if (text.rfind("GNU C", 0) != 0) {
      continue;
    }
    ++compilations;
    for (const char* option : {" -O2", " -fstack-protector-strong", " -fstack-clash-protection",
                               " -fcf-protection=full"}) {
      EXPECT_NE(text.find(option), std::string::npos) << option << " in " << text;
    }
  }
  EXPECT_GT(compilations, 0);
}
#endif

INSTANTIATE_TEST_SUITE_P(Installed, Hardening, testing::ValuesIn(kInstalled),
                         [](const auto& each) { return each.param.name; });
