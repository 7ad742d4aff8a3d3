#ifndef FERROLINK_COMPANIONS_CPP_REPLYBUILDER_H
#define FERROLINK_COMPANIONS_CPP_REPLYBUILDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "companions/cpp/CommandFrame.h"
#include "companions/cpp/ferrolink/cpp_runtime.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// One call's answer while a handler composes it. Lives on the stack of the calling thread and is
/// used there alone.
class ReplyBuilder : public ferrolink_reply {
 public:
  /// `room` is where the answer is composed; what is in it goes.
  explicit ReplyBuilder(std::uint8_t caller, Reply room = {});
  ReplyBuilder(const ReplyBuilder&) = delete;
  ReplyBuilder& operator=(const ReplyBuilder&) = delete;
  ~ReplyBuilder() = default;

  /// What the caller gets, given what the handler returned. To be called once.
  Reply Finish(std::string_view handlerName, std::int32_t result);

 private:
  static std::int32_t AppendBytes(ferrolink_reply* reply, const std::uint8_t* bytes,
                                  std::size_t length);
  static std::int32_t FailWith(ferrolink_reply* reply, const char* text, std::size_t length);

  std::int32_t NoteFailure(std::string_view text, std::int32_t result);

  const std::uint8_t m_caller;
  Reply m_reply;
  bool m_failed = false;
  std::string m_error;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
