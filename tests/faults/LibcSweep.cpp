#include "tests/faults/LibcSweep.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "tests/faults/Forked.h"
#include "tests/support/ProcessCase.h"

namespace Ferrolink::Tests {
namespace {

using Texts = std::vector<std::string>;

long OpenFiles() {
  long count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    count += entry.exists() ? 1 : 0;
  }
  return count;
}

// Java's words may be missing from an error text: the failing call may be the one that gets them.
std::string WithoutInfo(const std::string& text) {
  const std::string mark = "\nRUNTIME INFO:";
  const auto at = text.find(mark);
  return at == std::string::npos ? text : text.substr(0, at + mark.size());
}

// The text of a native method without the result before it, "-2: ".
std::string WithoutResult(const std::string& outcome) {
  const bool has = outcome.size() > 4 && outcome[0] == '-' && outcome.compare(2, 2, ": ") == 0;
  return has ? outcome.substr(4) : outcome;
}

// "JVM Launcher: Exception code 023..."
bool HasCode(const std::string& text) {
  for (const std::string component : {"JVM Launcher", "Ferrolink Native Exception", "JVM Lib"}) {
    const std::string start = component + ": Exception code ";
    if (text.starts_with(start) && text.size() >= start.size() + 3) {
      return std::all_of(text.begin() + static_cast<long>(start.size()),
                         text.begin() + static_cast<long>(start.size()) + 3,
                         [](char digit) { return digit >= '0' && digit <= '9'; });
    }
  }
  return false;
}

bool IsDefined(LibcCall call, const std::string& outcome, const std::string& undisturbed) {
  if (WithoutInfo(outcome) == WithoutInfo(undisturbed)) {
    return true;
  }
  const std::string text = WithoutResult(outcome);
  const bool noThread = outcome == "Resource temporarily unavailable";
  const bool noListing = outcome.starts_with("filesystem error: ");
  switch (call) {
    case LibcCall::Allocation:  // null: of getNativeError
      return text == "std::bad_alloc" || text == "null" || HasCode(text) || noListing || noThread;
    case LibcCall::DlOpen:
    case LibcCall::DlSym:
      return HasCode(text) || text.ends_with(" function not found in Utils library");
    case LibcCall::ThreadCreate:
      return noThread;
    case LibcCall::Open:
      return noListing;  // of archives; nobody hears of the others
    case LibcCall::Write:
    case LibcCall::Syscall:
      break;  // nobody hears of these
  }
  return false;
}

std::string RunStep(const Step& step, bool elsewhere) {
  if (!elsewhere) {
    return step.run();
  }
  std::string result;
  std::thread([&] { result = step.run(); }).join();
  return result;
}

/// One run: the result of each step, and of its repetition if the failure hit it.
struct Steps {
  std::unique_ptr<LibcScenario> scenario;
  LibcCall call;
  bool retryElsewhere;

  // Notes the counted calls, then the errors, each step's result, and the resources that are left.
  void Run(long number, const Texts& expected) {
    Texts results;
    std::string wrong;
    FailLibcCall(call, number);
    for (const Step& step : scenario->Steps()) {
      results.push_back(
          RunOne(step, expected.empty() ? "" : expected[results.size()], !expected.empty(), wrong));
    }
    const long counted = LibcCalls();
    StopFailing();
    Note(std::to_string(counted));
    Note(wrong);
    Note(scenario->Left() + " " + std::to_string(OpenFiles()));
    for (const std::string& result : results) {
      Note(result);
    }
  }

 private:
  std::string RunOne(const Step& step, const std::string& expected, bool judged,
                     std::string& wrong) const {
    const bool failedBefore = LibcCallFailed();
    std::string result = step.run();
    if (!judged) {
      return result;
    }
    const bool hit = !failedBefore && LibcCallFailed();
    if (result != expected && !(hit && IsDefined(call, result, expected))) {
      wrong += step.name + (hit ? ", hit" : "") + ": " + result + "; ";
    }
    if (hit) {
      const std::string again = RunStep(step, retryElsewhere);
      if (again != expected) {
        wrong += step.name + " again: " + again + "; ";
      }
    }
    return result;
  }
};

bool NoMoreThan(const std::string& left, const std::string& undisturbed) {
  std::istringstream now(left);
  std::istringstream before(undisturbed);
  for (long a = 0, b = 0; before >> b;) {
    if (!(now >> a) || a > b) {
      return false;
    }
  }
  return true;
}

// Which of the calls fail.
std::vector<long> Chosen(long calls, Sample sample) {
  const char* setting = std::getenv("TEST_FAULTS");
  const std::string asked = setting == nullptr ? "" : setting;
  const bool all = asked == "all";
  if (!all && !asked.empty()) {
    return {std::stol(asked)};
  }
  const long runs = all ? calls : std::min(calls, sample.atMost);
  std::vector<long> numbers;
  for (long i = 0; i < runs; ++i) {
    numbers.push_back(1 + i * calls / runs);
  }
  return numbers;
}

std::string Judge(const ForkedRun& run, const std::string& left) {
  if (!run.EndedWell() || run.notes.size() < 3) {
    return run.Describe();
  }
  if (!run.notes[1].empty()) {
    return run.notes[1];
  }
  return NoMoreThan(run.notes[2], left) ? "" : "left " + run.notes[2] + " instead of " + left;
}

}  // namespace

void Sweep(const std::function<std::unique_ptr<LibcScenario>()>& make, LibcCall call,
           bool retryElsewhere, Sample sample) {
  const auto run = [&](long number, const Texts& expected) {
    return RunForked([&] { Steps{make(), call, retryElsewhere}.Run(number, expected); });
  };
  const ForkedRun undisturbed = run(0, {});
  if (!undisturbed.EndedWell() || undisturbed.notes.size() < 4) {
    Report("undisturbed: " + undisturbed.Describe());
    return;
  }
  const long calls = std::stol(undisturbed.notes[0]);
  const std::string left = undisturbed.notes[2];
  const Texts expected(undisturbed.notes.begin() + 3, undisturbed.notes.end());
  for (const long number : Chosen(calls, sample)) {
    const std::string wrong = Judge(run(number, expected), left);
    if (!wrong.empty()) {
      Report(std::to_string(number) + " of " + std::to_string(calls) + ": " + wrong);
    }
  }
  Report(calls == 0 ? "no calls" : "done");
}

}  // namespace Ferrolink::Tests
