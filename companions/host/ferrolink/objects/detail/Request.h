#ifndef FERROLINK_HOST_OBJECTS_DETAIL_REQUEST_H
#define FERROLINK_HOST_OBJECTS_DETAIL_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>

#include "ferrolink/objects/detail/Buffer.h"
#include "ferrolink/objects/detail/Handle.h"
#include "ferrolink/objects/detail/Reader.h"
#include "ferrolink/objects/detail/Session.h"

namespace Ferrolink::Objects::detail {

/// Throws the error for a reply whose status is not Done: JavaException, ObjectError or
/// ConversionError.
[[noreturn]] void ThrowFailure(Session& session, Status status, Reader& reply);

/// The pending releases that one command takes along. Owns their records.
///
/// If the command fails, they become pending again: it is unknown whether Java has released them.
/// Java ignores releases of handles that it has released already.
/// @code
/// TravellingRecords releases(session);
/// releases.Write(command);
/// session.Exchange(command);  // may throw
/// releases.Delete();
/// @endcode
class TravellingRecords {
 public:
  /// Takes all pending records of the session.
  explicit TravellingRecords(Session& session)
      : m_session(session), m_first(session.TakePending()) {}
  TravellingRecords(const TravellingRecords&) = delete;
  TravellingRecords& operator=(const TravellingRecords&) = delete;
  ~TravellingRecords() {
    if (m_first != nullptr) {
      m_session.PutBack(m_first);
    }
  }

  /// Writes the count and the handles' numbers. Records beyond kMostReleases become pending again.
  void Write(Buffer& out) {
    const std::size_t countAt = out.Size();
    out.AppendNumber(std::uint16_t{0});
    std::size_t count = 0;
    for (Record* record = m_first; record != nullptr; record = record->next) {
      out.AppendNumber(record->handle.load(std::memory_order_relaxed));
      if (++count == kMostReleases && record->next != nullptr) {
        m_session.PutBack(std::exchange(record->next, nullptr));
      }
    }
    out.OverwriteNumber(countAt, static_cast<std::uint16_t>(count));
  }

  /// To be called when the command has arrived.
  void Delete() noexcept {
    while (m_first != nullptr) {
      delete std::exchange(m_first, m_first->next);
    }
  }

 private:
  Session& m_session;
  Record* m_first;
};

/// One command to the broker and its reply, in one buffer. The command takes pending releases
/// along.
/// @code
/// Request request(session, Operation::Name);
/// request.Out().AppendNumber(handle);
/// const std::string name(request.Send().TakeText());
/// @endcode
/// Thread rule: on the stack of one thread. Requests can be nested.
class Request {
 public:
  /// Writes everything that precedes the data of the operation. Errors: std::bad_alloc.
  Request(Session& session, Operation operation) : m_session(session), m_releases(session) {
    m_buffer->AppendBytes(Session::kPrefix.data(), Session::kPrefixSize);
    m_releases.Write(*m_buffer);
    m_buffer->AppendNumber(operation);
  }

  /// The buffer, to which callers append the data of the operation.
  Buffer& Out() noexcept { return *m_buffer; }

  /// Sends the command and returns a reader of the reply, which begins after its status. The reader
  /// views the buffer of this request. May be called once. Errors: those of Session::Exchange;
  /// JavaException, ObjectError, ConversionError.
  Reader Send() {
    Reader reply(m_session.Exchange(*m_buffer), &m_session);
    m_releases.Delete();
    const auto status = reply.TakeNumber<Status>();
    if (status != Status::Done) {
      ThrowFailure(m_session, status, reply);
    }
    return reply;
  }

 private:
  Session& m_session;
  TravellingRecords m_releases;
  BufferLease m_buffer;
};

inline bool Session::SendPending() noexcept {
  try {
    while (!m_pending.IsEmpty()) {
      Request(*this, Operation::Release).Send();
    }
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace Ferrolink::Objects::detail

#endif
