#ifndef FERROLINK_BENCH_HARNESS_SERVE_H
#define FERROLINK_BENCH_HARNESS_SERVE_H

#include <cstddef>
#include <functional>

namespace Ferrolink::Bench {

/// Lets bench/driver interleave programs. For each line "SIZE CALLS" of standard input, `run` makes
/// that many calls of that many bytes, and a line "= NANOSECONDS" reports their total time. Returns
/// at the end of standard input.
void Serve(const std::function<double(std::size_t size, long calls)>& run);

}  // namespace Ferrolink::Bench

#endif
