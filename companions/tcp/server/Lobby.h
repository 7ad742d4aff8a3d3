#ifndef FERROLINK_COMPANIONS_TCP_SERVER_LOBBY_H
#define FERROLINK_COMPANIONS_TCP_SERVER_LOBBY_H

#include <array>
#include <asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "companions/tcp/server/Events.h"
#include "companions/tcp/server/Guest.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Connections that no thread serves: those that arrive, those between commands, and those whose
/// last answer is under way. Each has a deadline, and none takes a thread. All of it happens on the
/// thread of the io_context.
class Lobby {
 public:
  using Clock = std::chrono::steady_clock;
  /// Takes a guest over of whose next command the header is there.
  using Called = std::function<void(Guest)>;

  /// Options and events outlive it.
  Lobby(asio::io_context& context, const ServerOptions& options, const Events& events,
        Called called);
  Lobby(const Lobby&) = delete;
  Lobby& operator=(const Lobby&) = delete;
  ~Lobby();

  /// Greets a client that has just connected, and awaits its first command.
  void Greet(Guest guest);
  /// Awaits the next command of a guest that was greeted.
  void Await(Guest guest);
  /// Answers the command whose header is there that it is not begun, and closes.
  void Refuse(Guest guest, const std::string& why, Refusal kind);
  /// Answers the next command in advance: it will not be begun. Then closes.
  void SayGoodbye(Guest guest, const std::string& why);
  /// Closes when the guest has read what was sent to it, or does not in a while.
  void Close(Guest guest);

  /// From now on nobody is awaited: guests are told so and leave soon.
  void GoAway(const std::string& why);
  /// Closes all connections at once.
  void Cut();
  /// Closes the connection that has been there for longest, of clients that have sent no command
  /// as long as there are any. False where there is none.
  bool DropOldest();

  [[nodiscard]] std::size_t size() const { return m_rows[0].size() + m_rows[1].size(); }

 private:
  struct Seat;
  using SeatPointer = std::shared_ptr<Seat>;
  using Row = std::list<SeatPointer>;
  enum class Stage { Greeting, Waiting, Leaving };

  SeatPointer TakeSeat(Guest guest, Stage stage);
  Guest Rise(const SeatPointer& seat);
  void Leave(const SeatPointer& seat) { Rise(seat); }

  void Proceed(const SeatPointer& seat);
  void Greet(const SeatPointer& seat);
  void Admit(const SeatPointer& seat);
  void Await(const SeatPointer& seat);
  void Drain(const SeatPointer& seat);
  void SayGoodbye(const SeatPointer& seat, const std::string& why);
  void StartWaiting(const SeatPointer& seat);
  void StartLeaving(const SeatPointer& seat);
  void LimitSilence(const SeatPointer& seat);

  void Watch(const SeatPointer& seat, short events);
  void Limit(const SeatPointer& seat, Clock::time_point end);
  void Expire(const SeatPointer& seat);

  asio::io_context& m_context;
  const ServerOptions& m_options;
  const Events& m_events;
  const Called m_called;
  bool m_goesAway = false;
  std::array<Row, 2> m_rows;  ///< clients without a command so far; others. In order of arrival.
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
