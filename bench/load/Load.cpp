// Measures what opening a library costs a C++ program: time, and memory of the process. Prints "=
// NANOSECONDS RESIDENT-BYTES".
//
//     usage: ferrolink-bench-load LIBRARY
#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iostream>

namespace {

long ResidentBytes() {
  std::ifstream statm("/proc/self/statm");
  long total = 0;
  long resident = 0;
  statm >> total >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

}  // namespace

int main(int /*count*/, char** values) {
  ResidentBytes();  // what the stream needs is there already
  const long before = ResidentBytes();
  const auto begin = std::chrono::steady_clock::now();
  void* library = dlopen(values[1], RTLD_NOW | RTLD_LOCAL);
  const std::chrono::nanoseconds took = std::chrono::steady_clock::now() - begin;
  const long after = ResidentBytes();
  if (library == nullptr) {
    std::cerr << dlerror() << '\n';
    return 1;
  }
  std::cout << "= " << took.count() << ' ' << after - before << '\n';
}
