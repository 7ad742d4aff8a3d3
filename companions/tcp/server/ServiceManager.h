#ifndef FERROLINK_COMPANIONS_TCP_SERVER_SERVICEMANAGER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_SERVICEMANAGER_H

#include <string>
#include <string_view>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The service manager that has started this process, as the environment describes it (the
/// protocols of systemd: NOTIFY_SOCKET, LISTEN_FDS). Without one it does nothing.
///
/// Thread rule: constructed before there are other threads, since it takes what it has read out of
/// the environment, so that programs that handlers start do not believe themselves addressed. Any
/// thread may notify.
class ServiceManager {
 public:
  ServiceManager();

  /// The socket to accept clients from, where the service manager has made one. Called once.
  /// Errors: std::runtime_error where it has passed something else than one TCP socket that
  /// listens.
  [[nodiscard]] FileDescriptor TakeListener();

  /// Clients can be served.
  void NotifyReady() const { Notify("READY=1\nSTATUS=Serving.\n"); }
  /// The process is about to end, or to drain first.
  void NotifyStopping() const { Notify("STOPPING=1\nSTATUS=Ending.\n"); }
  void NotifyReloading() const;

  /// Lines as the protocol has them. Never blocks; a manager that does not listen loses it.
  void Notify(std::string_view lines) const;

 private:
  const std::string m_notifySocket;  ///< empty without a manager that wants to know
  const std::string m_listenProcess;
  const std::string m_listenCount;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
