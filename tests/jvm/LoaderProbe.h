#ifndef FERROLINK_TESTS_JVM_LOADERPROBE_H
#define FERROLINK_TESTS_JVM_LOADERPROBE_H

#include <string>
#include <vector>

/// Stands between the library's objects and the dynamic loader: an executable that links this file
/// has dlopen and dlerror of its own. For use by one thread.
namespace FerrolinkTest::LoaderProbe {

struct Opening {
  std::string path;
  int flags;
};

/// All dlopen calls since the process started, in order.
const std::vector<Opening>& openings();

/// From now on the loader has no error texts.
void silenceErrors();

}  // namespace FerrolinkTest::LoaderProbe

#endif
