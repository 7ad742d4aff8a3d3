// A shared library that is no plug-in. Tells by an environment variable that it was unloaded.
#include <cstdlib>

namespace {
struct Unloading {
  Unloading() = default;
  Unloading(const Unloading&) = delete;
  Unloading& operator=(const Unloading&) = delete;
  ~Unloading() { setenv("TEST_UNLOADED", "yes", 1); }
};
const Unloading unloading;
}  // namespace
