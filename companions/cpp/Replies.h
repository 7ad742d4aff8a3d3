#ifndef FERROLINK_COMPANIONS_CPP_REPLIES_H
#define FERROLINK_COMPANIONS_CPP_REPLIES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "companions/cpp/Utf8.h"
#include "ferrolink/protocol/Bytes.h"
#include "ferrolink/protocol/Replies.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// The runtime of this member.
inline constexpr auto kThisRuntime = Ferrolink::Native::Definitions::Runtime::Cpp;

/// The longest text of an exception report, in bytes before malformed UTF-8 is replaced.
inline constexpr std::size_t kLongestText = 1048576;

/// An exception report to the runtime with the code `caller`. The text is cut at kLongestText
/// bytes; U+FFFD replaces malformed UTF-8.
inline Protocol::Bytes ReportTo(std::uint8_t caller, std::string_view text) {
  return Protocol::ExceptionReport(caller, kThisRuntime, ValidUtf8(text.substr(0, kLongestText)));
}

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
