#ifndef FERROLINK_TESTS_FAULTS_LIBCSWEEP_H
#define FERROLINK_TESTS_FAULTS_LIBCSWEEP_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/faults/LibcFaults.h"

/// Runs a scenario once for each call of a kind that our libraries make in it, with that call
/// failing.
namespace Ferrolink::Tests {

/// A piece of work that gives the same result each time, on any thread; or the text of what it
/// threw.
struct Step {
  std::string name;
  std::function<std::string()> run;
};

/// A scenario in a process of its own.
class LibcScenario {
 public:
  LibcScenario() = default;
  LibcScenario(const LibcScenario&) = delete;
  LibcScenario& operator=(const LibcScenario&) = delete;
  virtual ~LibcScenario() = default;

  virtual std::vector<Step> Steps() = 0;
  /// What is outstanding when all steps are done, as blank-separated numbers: none may be larger
  /// after a failure than without one.
  virtual std::string Left() { return ""; }
};

/// How many of the calls are made to fail, evenly spread. With TEST_FAULTS=all in the environment
/// all of them are, with TEST_FAULTS=<n> the n-th alone.
struct Sample {
  long atMost;
};

/// Runs the sweep and reports each failure that had no defined outcome, and last how it went:
/// "done", or "no calls" where the scenario makes none of this kind. A step that failed is run
/// again at once, on a thread of its own where `retryElsewhere`.
void Sweep(const std::function<std::unique_ptr<LibcScenario>()>& make, LibcCall call,
           bool retryElsewhere, Sample sample);

}  // namespace Ferrolink::Tests

#endif
