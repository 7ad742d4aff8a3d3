#ifndef FERROLINK_HOST_OBJECTS_DETAIL_ACCESS_H
#define FERROLINK_HOST_OBJECTS_DETAIL_ACCESS_H

#include "ferrolink/objects/detail/Session.h"

namespace Ferrolink::Objects::detail {

/// The one friend of Host and Caller. It hands out their role, which is a receiver or a
/// transmitter.
/// @code
/// Session& session = SessionOf(*PeerAccess::RoleOf(host));
/// @endcode
struct PeerAccess {
  /// The role that sends the commands of `peer`. The library of the role owns it.
  template <class Peer>
  static auto RoleOf(const Peer& peer) -> decltype(peer.Role()) {
    return peer.Role();
  }
};

/// A type that can lead to Java: Host and Caller. Others do not compile as a parameter of Java.
template <class Peer>
concept IsPeer = requires(Peer& peer) {
  PeerAccess::RoleOf(peer);
};

/// The session that the typed calls through `peer` use. Starts the JVM of a Host. All peers with
/// the same role share one session. Errors: those of Host::Start.
template <class Peer>
Session& SessionOfPeer(Peer& peer) {
  // A Host starts Java with the archives that were added before. A Caller does with each command.
  if constexpr (requires { peer.Start(); }) {
    peer.Start();
  }
  Session& session = SessionOf(*PeerAccess::RoleOf(peer));
  if constexpr (requires { peer.LibraryPath(); }) {
    session.SetInstallation(peer.LibraryPath().parent_path());
  }
  return session;
}

}  // namespace Ferrolink::Objects::detail

#endif
