#ifndef FERROLINK_TESTS_NATIVE_FILEPROBE_H
#define FERROLINK_TESTS_NATIVE_FILEPROBE_H

#include <cstddef>
#include <string>
#include <vector>

/// Replaces functions of the C library for the library under test and for C++ file streams, in an
/// executable that is linked with ferrolink_wrap(<target> open). For single-threaded bodies.
namespace Ferrolink::Tests::FileProbe {

/// Opening a path that starts with `prefix` is recorded, and opens the same path below `directory`.
void Redirect(const std::string& prefix, const std::string& directory);

/// Opening a path that starts with `prefix` is recorded and fails with `error`.
void Fail(const std::string& prefix, int error);

/// Opening a path that starts with `prefix` for reading and writing fails with `error`.
void FailReading(const std::string& prefix, int error);

/// The recorded paths, each followed by a blank and the flags in octal.
std::vector<std::string> Openings();

/// Files have room for `bytes` more bytes and are full after that.
void LeaveRoomFor(std::size_t bytes);

/// Files have room again.
void LeaveRoom();

/// Records what file streams write.
void RecordWrites();

/// The recorded texts, one for each write.
std::vector<std::string> Writes();

}  // namespace Ferrolink::Tests::FileProbe

#endif
