#ifndef FERROLINK_TESTS_NATIVE_FILEPROBE_H
#define FERROLINK_TESTS_NATIVE_FILEPROBE_H

#include <cstddef>
#include <string>
#include <vector>

/// Stands between the library, the C++ library's file streams and the C library in a test's
/// executable, which must be linked with ferrolink_wrap(<target> open). Only for single-threaded
/// bodies.
namespace Ferrolink::Tests::FileProbe {

/// From now on opening any path that starts with `prefix` is recorded, and opens the same path
/// below `directory` instead.
void Redirect(const std::string& prefix, const std::string& directory);

/// From now on opening any path that starts with `prefix` is recorded and fails with `error`.
void Fail(const std::string& prefix, int error);

/// From now on opening a path that starts with `prefix` for reading as well fails with `error`.
void FailReading(const std::string& prefix, int error);

/// The paths recorded, each followed by a blank and the flags of opening in octal digits.
std::vector<std::string> Openings();

/// From now on files have room for `bytes` more bytes and are full after that.
void LeaveRoomFor(std::size_t bytes);

/// Files have room again.
void LeaveRoom();

/// From now on what file streams write is recorded.
void RecordWrites();

/// The texts recorded, one for each write.
std::vector<std::string> Writes();

}  // namespace Ferrolink::Tests::FileProbe

#endif
