#ifndef FERROLINK_JVM_MODIFIEDUTF8_H
#define FERROLINK_JVM_MODIFIEDUTF8_H

#include <string>
#include <string_view>

/// Between UTF-8, which files and other libraries expect, and the modified UTF-8 of the JNI, in
/// which supplementary characters are surrogate pairs of three bytes each and the character zero is
/// two bytes. Format: the JNI's "Modified UTF-8 Strings". Any thread.

/// Error texts hold what files and other libraries put into them, and the JVM reads beyond what is
/// malformed: every byte that is neither kind of UTF-8 becomes U+FFFD. What is modified UTF-8
/// already stays as it is.
std::string ToModifiedUtf8(std::string_view text);

/// What the JVM gave, with supplementary characters as four bytes. The character zero stays two
/// bytes: to a path it would be the end.
std::string FromModifiedUtf8(std::string_view text);

#endif
