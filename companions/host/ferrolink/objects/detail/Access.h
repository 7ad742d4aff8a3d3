#ifndef FERROLINK_HOST_OBJECTS_DETAIL_ACCESS_H
#define FERROLINK_HOST_OBJECTS_DETAIL_ACCESS_H

#include "ferrolink/objects/detail/Session.h"

namespace Ferrolink::Objects::detail {

/// Host and Caller, which have this for a friend: their way to other runtimes.
struct PeerAccess {
  template <class Peer>
  static auto RoleOf(const Peer& peer) -> decltype(peer.Role()) {
    return peer.Role();
  }
};

template <class Peer>
concept IsPeer = requires(Peer& peer) {
  PeerAccess::RoleOf(peer);
};

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
