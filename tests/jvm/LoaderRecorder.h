#ifndef FERROLINK_TESTS_JVM_LOADERRECORDER_H
#define FERROLINK_TESTS_JVM_LOADERRECORDER_H

#include <string>
#include <vector>

/// Stands between the library's objects and the dynamic loader: an executable that links this file
/// has dlopen and dlerror of its own. For use by one thread.
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
