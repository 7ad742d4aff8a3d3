#ifndef FERROLINK_NATIVE_CONSOLE_H
#define FERROLINK_NATIVE_CONSOLE_H

#include <string_view>

/// Console output of the library.
///
/// Goes through C stdio, not C++ streams: a library that was opened with deep binding would share
/// std::cout with its host only half (two copies of the C++ library's state) and crash the process.
/// Each call writes its text in one piece and flushes. Text for a pipe that nobody reads, or a file
/// that may not grow, is lost; the signal that comes with it is not raised. Any thread.
namespace Ferrolink::Native::Console {

void PrintOut(std::string_view text);
void PrintError(std::string_view text);

}  // namespace Ferrolink::Native::Console

#endif
