#ifndef FERROLINK_COMPANIONS_CPP_REPLYBUILDER_H
#define FERROLINK_COMPANIONS_CPP_REPLYBUILDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "companions/cpp/ferrolink/cpp_runtime.h"
#include "ferrolink/protocol/Bytes.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// The answer to one call, while its handler composes it. Lives on the stack of the calling thread
/// and is used by that thread only.
class ReplyBuilder : public ferrolink_reply {
 public:
  /// `room` is reused for the answer; its contents are discarded.
  explicit ReplyBuilder(std::uint8_t caller, Protocol::Bytes room = {});
  ReplyBuilder(const ReplyBuilder&) = delete;
  ReplyBuilder& operator=(const ReplyBuilder&) = delete;
  ~ReplyBuilder() = default;

  /// Returns the caller's reply. `result` is what the handler returned. To be called once.
  Protocol::Bytes Finish(std::string_view handlerName, std::int32_t result);

 private:
  static std::int32_t AppendBytes(ferrolink_reply* reply, const std::uint8_t* bytes,
                                  std::size_t length);
  static std::int32_t FailWith(ferrolink_reply* reply, const char* text, std::size_t length);

  std::int32_t NoteFailure(std::string_view text, std::int32_t result);

  const std::uint8_t m_caller;
  Protocol::Bytes m_reply;
  bool m_failed = false;
  std::string m_error;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
