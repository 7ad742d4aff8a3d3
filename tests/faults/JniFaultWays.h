#ifndef FERROLINK_TESTS_FAULTS_JNIFAULTWAYS_H
#define FERROLINK_TESTS_FAULTS_JNIFAULTWAYS_H

#include <string>
#include <vector>

#include "tests/fakes/jvm/FakeFaults.h"

/// How each JNI function can fail, and the permitted consequences.
namespace Ferrolink::Tests {

struct JniFaultWay {
  std::string name;
  FakeJvm::NumberedFault fault;
};

/// The ways in which the recorded call can fail; none if JNI has none. The launcher's calls also
/// fail with an exception and a good result, since the launcher checks for that.
std::vector<JniFaultWay> WaysToFail(const std::string& call, bool launcher);

/// Whether `outcome` may replace `undisturbed` after the call failed: a documented error of that
/// call, or a text without Java's description of itself.
bool MayEndIn(const std::string& call, const std::string& outcome, const std::string& undisturbed);

/// Whether the process may end with this output, because no JVM could be created.
bool MayEndProcess(const std::string& call, const JniFaultWay& way, const std::string& output);

}  // namespace Ferrolink::Tests

#endif
