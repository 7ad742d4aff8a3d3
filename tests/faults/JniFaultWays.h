#ifndef FERROLINK_TESTS_FAULTS_JNIFAULTWAYS_H
#define FERROLINK_TESTS_FAULTS_JNIFAULTWAYS_H

#include <string>
#include <vector>

#include "tests/fakes/jvm/FakeFaults.h"

/// How each JNI function can fail, and what the library may make of it.
namespace Ferrolink::Tests {

struct JniFaultWay {
  std::string name;
  FakeJvm::NumberedFault fault;
};

/// The ways in which the recorded call can fail; none where JNI gives it no way. The launcher's
/// calls also fail by exceptions beside a good result, since the launcher checks for those.
std::vector<JniFaultWay> WaysToFail(const std::string& call, bool launcher);

/// Whether the stretch may end in `outcome` in place of `undisturbed` after the call failed: with a
/// documented error of that call, or with a text that lacks what Java says of itself.
bool MayEndIn(const std::string& call, const std::string& outcome, const std::string& undisturbed);

/// Whether the process may end with this output: where the JVM could not be created.
bool MayEndProcess(const std::string& call, const JniFaultWay& way, const std::string& output);

}  // namespace Ferrolink::Tests

#endif
