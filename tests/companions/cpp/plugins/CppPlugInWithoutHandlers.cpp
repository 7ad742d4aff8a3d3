// A shared library that is not a plug-in. It sets an environment variable when it is unloaded.
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
