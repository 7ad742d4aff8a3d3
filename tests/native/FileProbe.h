#ifndef FERROLINK_TESTS_NATIVE_FILEPROBE_H
#define FERROLINK_TESTS_NATIVE_FILEPROBE_H

#include <string>
#include <vector>

/// Stands between the C++ library's file streams and the C library in a test's executable. Only for
/// single-threaded bodies.
namespace FerrolinkTest::FileProbe {

/// From now on opening any path that starts with `prefix` is recorded, and opens the same path
/// below `directory` instead.
void redirect(const std::string& prefix, const std::string& directory);

/// From now on opening any path that starts with `prefix` is recorded and fails with `error`.
void fail(const std::string& prefix, int error);

/// The paths recorded, each followed by a blank and the mode of opening.
std::vector<std::string> openings();

/// From now on what file streams write is recorded.
void recordWrites();

/// The texts recorded, one for each write.
std::vector<std::string> writes();

}  // namespace FerrolinkTest::FileProbe

#endif
