#include "bench/harness/Serve.h"

#include <cstdio>
#include <iostream>

namespace Ferrolink::Bench {

void Serve(const std::function<double(std::size_t size, long calls)>& run) {
  std::size_t size = 0;
  long calls = 0;
  while (std::cin >> size >> calls) {
    std::printf("= %.0f\n", run(size, calls));
    std::fflush(stdout);
  }
}

}  // namespace Ferrolink::Bench
