#ifndef FERROLINK_COMPANIONS_TCP_SERVER_HANGUPSIGNAL_H
#define FERROLINK_COMPANIONS_TCP_SERVER_HANGUPSIGNAL_H

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <functional>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Handles SIGHUP as a request while the server serves. The signal never ends the process: before
/// and afterwards it is ignored, and its default action is never in effect in between.
///
/// At most one object per process. Use it on the thread of the event loop only.
class HangUpSignal {
 public:
  /// Calls `heard` on the loop, once for one or more signals. Errors: std::system_error.
  HangUpSignal(asio::io_context& context, std::function<void()> heard);
  HangUpSignal(const HangUpSignal&) = delete;
  HangUpSignal& operator=(const HangUpSignal&) = delete;
  ~HangUpSignal();

  /// Stops listening and lets the loop end. Idempotent.
  void Ignore();

 private:
  void Await();

  const std::function<void()> m_heard;
  const FileDescriptor m_event;
  asio::posix::stream_descriptor m_readiness;
  bool m_isIgnored = false;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
