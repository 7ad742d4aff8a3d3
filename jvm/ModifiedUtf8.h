#ifndef FERROLINK_JVM_MODIFIEDUTF8_H
#define FERROLINK_JVM_MODIFIEDUTF8_H

#include <string>
#include <string_view>

namespace Ferrolink::Runtimes::Jvm::Native {

/// Conversion between UTF-8, which files and other libraries use, and the modified UTF-8 of JNI.
/// There a supplementary character is a surrogate pair of three bytes each, and the character zero
/// is two bytes. Format: "Modified UTF-8 Strings" in the JNI specification. Any thread.

/// `text` as modified UTF-8. Each byte that belongs to neither encoding becomes U+FFFD: error texts
/// may contain anything, and the JVM would read beyond malformed bytes. Modified UTF-8 is
/// unchanged.
std::string ToModifiedUtf8(std::string_view text);

/// `text` as UTF-8, with supplementary characters as four bytes. The character zero stays two
/// bytes, since it would end a path.
std::string FromModifiedUtf8(std::string_view text);

}  // namespace Ferrolink::Runtimes::Jvm::Native

#endif
