#ifndef FERROLINK_TESTS_JVM_LOADERRECORDER_H
#define FERROLINK_TESTS_JVM_LOADERRECORDER_H

#include <string>
#include <vector>

/// Replaces dlopen and dlerror in an executable that links this file, records calls and passes them
/// on. For one thread.
namespace Ferrolink::Tests::LoaderRecorder {

struct Opening {
  std::string path;
  int flags;
};

/// All dlopen calls since the process started, in order.
const std::vector<Opening>& Openings();

/// From now on the loader has no error texts.
void SilenceErrors();

}  // namespace Ferrolink::Tests::LoaderRecorder

#endif
