#ifndef FERROLINK_COMPANIONS_TCP_SERVER_LISTENER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_LISTENER_H

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <cstddef>
#include <functional>

#include "companions/tcp/server/Events.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Accepts connections on one socket. If the system lacks room for more, it closes the oldest idle
/// connection or pauses.
///
/// Thread rule: the thread of the event loop only.
class Listener {
 public:
  /// What the listener needs from the owner of the connections.
  struct Hooks {
    /// The number of open connections.
    std::function<std::size_t()> countOpen;
    /// Closes the oldest idle connection. Returns false if there is none.
    std::function<bool()> dropOldest;
    /// Takes over a connection, with the address of its client.
    std::function<void(FileDescriptor, const asio::ip::tcp::endpoint&)> welcome;
  };

  /// Opens nothing. At most `mostOpen` connections are open at a time, as far as idle ones can be
  /// closed. `events` must outlive the listener.
  Listener(asio::io_context& context, std::size_t mostOpen, const Events& events, Hooks hooks);

  /// Binds and listens on the address. Errors: std::system_error.
  void Listen(const asio::ip::tcp::endpoint& address);
  /// Uses a socket that a service manager has bound. Errors: std::system_error.
  void Adopt(const FileDescriptor& bound);

  /// Accepts from now on.
  void Start();
  /// Stops accepting and closes the socket.
  void Close();

  /// The address with the real port.
  [[nodiscard]] asio::ip::tcp::endpoint Address() const { return m_acceptor.local_endpoint(); }

 private:
  void Accept();
  bool AcceptSome();

  const std::size_t m_mostOpen;
  const Events& m_events;
  const Hooks m_hooks;
  asio::ip::tcp::acceptor m_acceptor;
  asio::steady_timer m_pause;
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
