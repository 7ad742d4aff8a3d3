#ifndef FERROLINK_TESTS_FAULTS_LIBCSCENARIOS_H
#define FERROLINK_TESTS_FAULTS_LIBCSCENARIOS_H

#include <memory>

#include "tests/fakes/jvm/FakeJvmClient.h"
#include "tests/faults/BuiltLibrary.h"
#include "tests/faults/LibcSweep.h"

/// What is done while calls fail. The library is open in the calling process already.
namespace Ferrolink::Tests {

/// A host that calls Java on the fake JVM: start-up, commands, errors, archives, threads.
std::unique_ptr<LibcScenario> MakeHostOnFakeJvm(const BuiltLibrary& library);
/// A directory of archives.
std::unique_ptr<LibcScenario> MakeArchives(const BuiltLibrary& library);
/// Threads of such a host that wait for one another.
std::unique_ptr<LibcScenario> MakeContended(const BuiltLibrary& library);
/// The host on a real JVM, whose receiver throws where it is told to.
std::unique_ptr<LibcScenario> MakeHostOnRealJvm(const BuiltLibrary& library);
/// A transmitter: runtimes that are there and that are not, in memory and over the network.
std::unique_ptr<LibcScenario> MakeTransmitter(const BuiltLibrary& library);
/// Java on the fake JVM: the native methods, and commands that the callback answers.
std::unique_ptr<LibcScenario> MakeNativeMethods(const BuiltLibrary& library);

}  // namespace Ferrolink::Tests

#endif
