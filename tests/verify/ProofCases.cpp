#include "tests/verify/ProofCases.h"

#include <gtest/gtest.h>

#include <latch>
#include <sstream>
#include <thread>

namespace Ferrolink::Tests {
namespace {

void AddFigure(Figures& figures, const std::string& text) {
  const auto equals = text.find('=');
  if (equals != std::string::npos && equals + 1 < text.size() &&
      text.find_first_not_of("-0123456789", equals + 1) == std::string::npos) {
    figures[text.substr(0, equals)] = std::stol(text.substr(equals + 1));
  }
}

// The JVM's collector in the runtime information.
std::string CollectorOf(const std::string& out) {
  const std::string title = "Garbage collectors: ";
  for (const std::string& line : LinesOf(out)) {
    if (line.starts_with(title)) {
      return line.substr(title.size());
    }
  }
  return "unknown";
}

// Warnings of a JVM with checked JNI: all of them, and those whose frame is the library's, which is
// called by Java or by threads without a Java frame.
struct Warnings {
  long all = 0;
  std::vector<std::string> ours;

  explicit Warnings(const std::string& out) {
    const std::vector<std::string> lines = LinesOf(out);
    for (std::size_t line = 0; line < lines.size(); ++line) {
      if (!lines[line].starts_with("WARNING") && !lines[line].starts_with("FATAL ERROR")) {
        continue;
      }
      ++all;
      const std::string frame = line + 1 < lines.size() ? lines[line + 1] : "";
      if (!frame.starts_with("\tat ") || frame.starts_with("\tat com.ferrolink.")) {
        ours.push_back(lines[line] + "\n" + frame);
      }
    }
  }
};

}  // namespace

void ProveOnEveryJdk(const std::string& name, const std::string& javaOptions,
                     const std::function<void(const Figures&)>& check) {
  const auto jdks = InstalledJdks();
  ASSERT_FALSE(jdks.empty());
  for (const auto& jdk : jdks) {
    SCOPED_TRACE(jdk.string());
    const InstallationTree tree;
    InstallEverything(tree);
    std::filesystem::copy_file(PROOFS_JAR, tree.JvmDirectory() / "Proofs.jar");
    const CaseResult result = RunCase(name, tree, OnJdk(tree, jdk, javaOptions));
    const std::string said = result.out.substr(0, 4000) + result.err.substr(0, 4000);
    EXPECT_EQ(result.signal, 0) << said;
    EXPECT_EQ(result.exitCode, 0) << said;
    const Warnings warnings(result.out);
    EXPECT_EQ(warnings.ours, std::vector<std::string>{});
    EXPECT_EQ(tree.ErrorLog(), "");
    Figures figures;
    for (const std::string& line : LinesOf(result.out)) {
      AddFigure(figures, line);
    }
    for (const std::string& entry : result.report) {
      AddFigure(figures, entry);
    }
    check(figures);
    testing::Test::RecordProperty("collector", CollectorOf(result.out));
    figures["jni_warnings"] = warnings.all;
    for (const auto& [figure, value] : figures) {
      testing::Test::RecordProperty(figure, std::to_string(value));
    }
  }
}

void ReportFigure(const std::string& name, long value) {
  Report(name + "=" + std::to_string(value));
}

std::filesystem::path CaseProofs() {
  return CaseRoot() / "Binaries/Jvm/Proofs.jar";
}

Ferrolink::Host::Host& StartHost() {
  static auto& host = *new Ferrolink::Host::Host({CaseNativeDirectory(), ""});
  host.LoadLibrary(CaseProofs());
  host.Start();
  return host;
}

void OnThreads(int threads, const std::function<void(int)>& body) {
  std::latch together(threads);
  std::vector<std::thread> running;
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      together.arrive_and_wait();
      body(thread);
    });
  }
  for (std::thread& thread : running) {
    thread.join();
  }
}

}  // namespace Ferrolink::Tests
