#ifndef FERROLINK_NATIVE_CONSOLE_H
#define FERROLINK_NATIVE_CONSOLE_H

#include <string_view>

/// Console output of the library.
///
/// Uses C stdio, not C++ streams: a library that is opened with deep binding shares only half of
/// std::cout with its host (two copies of the C++ library's state), which crashes the process. Each
/// call writes its text in one piece and flushes. Text that cannot be written (closed pipe, file
/// size limit) is lost; the signal that would follow is suppressed. Thread rule: any thread.
namespace Ferrolink::Native::Console {

void PrintOut(std::string_view text);
void PrintError(std::string_view text);

}  // namespace Ferrolink::Native::Console

#endif
