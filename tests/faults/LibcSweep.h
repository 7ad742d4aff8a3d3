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

/// A step that gives the same result each time, on any thread; or the text of its error.
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
  /// The resources that are left after all steps, as blank-separated numbers. No number may be
  /// larger after a failure than without one.
  virtual std::string Left() { return ""; }
};

/// How many of the calls fail, evenly spread. With TEST_FAULTS=all in the environment all of them
/// fail; with TEST_FAULTS=<n> only the n-th.
struct Sample {
  long atMost;
};

/// Runs the sweep. Reports each failure without a defined outcome, and last "done", or "no calls"
/// if the scenario makes no call of this kind. A failed step is run again at once; with
/// `retryElsewhere` on a thread of its own.
void Sweep(const std::function<std::unique_ptr<LibcScenario>()>& make, LibcCall call,
           bool retryElsewhere, Sample sample);

}  // namespace Ferrolink::Tests

#endif
