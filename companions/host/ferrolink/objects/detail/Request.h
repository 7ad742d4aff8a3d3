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

/// Throws what a reply other than Done says.
[[noreturn]] void ThrowFailure(Session& session, Status status, Reader& reply);

/// Records whose handles travel with a command. Those of a command that was not sent, or may not
/// have arrived, are released with a later one: the broker passes over what it has released
/// already.
class TravellingRecords {
 public:
  explicit TravellingRecords(Session& session)
      : m_session(session), m_first(session.TakePending()) {}
  TravellingRecords(const TravellingRecords&) = delete;
  TravellingRecords& operator=(const TravellingRecords&) = delete;
  ~TravellingRecords() {
    if (m_first != nullptr) {
      m_session.PutBack(m_first);
    }
  }

  /// Their count and their numbers; what has no room there waits for another command.
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

  /// They have arrived.
  void Delete() noexcept {
    while (m_first != nullptr) {
      delete std::exchange(m_first, m_first->next);
    }
  }

 private:
  Session& m_session;
  Record* m_first;
};

/// One command to the broker and its reply, in one buffer. It takes pending releases along. On the
/// stack of one thread.
class Request {
 public:
  Request(Session& session, Operation operation) : m_session(session), m_releases(session) {
    m_buffer->AppendBytes(Session::kPrefix.data(), Session::kPrefixSize);
    m_releases.Write(*m_buffer);
    m_buffer->AppendNumber(operation);
  }

  Buffer& Out() noexcept { return *m_buffer; }

  /// The reply behind its status. To be called once. Errors: those of Session::Exchange,
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
