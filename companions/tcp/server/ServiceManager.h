#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVICEMANAGER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVICEMANAGER_H

#include <string>
#include <string_view>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The service manager that started this process, as the environment describes it (the protocols of
/// systemd: NOTIFY_SOCKET, LISTEN_FDS). A no-op without one.
///
/// Thread rule: construct it before there are other threads. It removes its variables from the
/// environment, so that programs that handlers start do not use them. Notifying is thread-safe.
class ServiceManager {
 public:
  ServiceManager();

  /// The listening socket of the service manager, if it passed one. Call it once. Errors:
  /// std::runtime_error if it passed anything but one listening TCP socket.
  [[nodiscard]] FileDescriptor TakeListener();

  /// The server can serve clients.
  void NotifyReady() const { Notify("READY=1\nSTATUS=Serving.\n"); }
  /// The process ends, or drains first.
  void NotifyStopping() const { Notify("STOPPING=1\nSTATUS=Ending.\n"); }
  void NotifyReloading() const;

  /// Sends lines of the protocol. Best effort: never blocks, and the lines are lost if nobody
  /// listens.
  void Notify(std::string_view lines) const;

 private:
  const std::string m_notifySocket;  ///< empty without a manager that wants to know
  const std::string m_listenProcess;
  const std::string m_listenCount;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
