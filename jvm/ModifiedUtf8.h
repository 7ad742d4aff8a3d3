#ifndef FERROLINK_JVM_MODIFIEDUTF8_H
#define FERROLINK_JVM_MODIFIEDUTF8_H

#include <string>
#include <string_view>

/// Error texts hold what files and other libraries put into them; the JVM takes modified UTF-8 only
/// and reads beyond what is malformed.
///
/// Returns `text` with supplementary characters as surrogate pairs of three bytes each and every
/// byte that is no UTF-8 as U+FFFD. Format: the JNI's "Modified UTF-8 Strings". Any thread.
std::string toModifiedUtf8(std::string_view text);

#endif
