#include "companions/cpp/ReplyBuilder.h"

#include <climits>
#include <new>
#include <utility>

#include "companions/cpp/Replies.h"
#include "ferrolink/protocol/Replies.h"

namespace Ferrolink::Runtimes::Cpp::Native {

ReplyBuilder::ReplyBuilder(std::uint8_t caller, Protocol::Bytes room)
    : ferrolink_reply{AppendBytes, FailWith},
      m_caller(caller),
      m_reply(Protocol::EmptyAnswer(caller, kThisRuntime, std::move(room))) {}

std::int32_t ReplyBuilder::AppendBytes(ferrolink_reply* reply, const std::uint8_t* bytes,
                                       std::size_t length) {
  if (reply == nullptr || (bytes == nullptr && length > 0)) {
    return FERROLINK_INVALID_ARGUMENT;
  }
  auto* self = static_cast<ReplyBuilder*>(reply);
  if (length > INT_MAX - self->m_reply.size()) {
    return self->NoteFailure("The handler's answer is longer than a reply may be (2 GiB).",
                             FERROLINK_TOO_LONG);
  }
  try {
    self->m_reply.insert(self->m_reply.end(), bytes, bytes + length);
    return FERROLINK_OK;
  } catch (const std::bad_alloc&) {
    return self->NoteFailure("Out of memory for the handler's answer.", FERROLINK_OUT_OF_MEMORY);
  }
}

std::int32_t ReplyBuilder::FailWith(ferrolink_reply* reply, const char* text, std::size_t length) {
  if (reply == nullptr || (text == nullptr && length > 0)) {
    return FERROLINK_INVALID_ARGUMENT;
  }
  return static_cast<ReplyBuilder*>(reply)->NoteFailure({text, length}, FERROLINK_OK);
}

// The last failure wins. If there is no memory for its text, the call has failed nevertheless.
std::int32_t ReplyBuilder::NoteFailure(std::string_view text, std::int32_t result) {
  m_failed = true;
  try {
    m_error = text;
    return result;
  } catch (const std::bad_alloc&) {
    return FERROLINK_OUT_OF_MEMORY;
  }
}

Protocol::Bytes ReplyBuilder::Finish(std::string_view handlerName, std::int32_t result) {
  if (result == FERROLINK_OK && !m_failed) {
    return std::move(m_reply);
  }
  if (m_error.empty()) {
    m_error = "Handler '" + std::string(handlerName) + "' failed with result " +
              std::to_string(result) + " and no text.";
  }
  return ReportTo(m_caller, m_error);
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
