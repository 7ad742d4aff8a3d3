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
#include "companions/tcp/server/Metrics.h"
#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

/// The clients, called guests here, that need no thread: new ones, those between commands, and
/// those whose last answer is being sent. Each has a deadline. Everything runs on the thread of the
/// io_context.
class Lobby {
 public:
  using Clock = std::chrono::steady_clock;
  /// Takes over a guest as soon as the header of its next command has arrived.
  using Called = std::function<void(Guest)>;

  /// Options and events must outlive it.
  Lobby(asio::io_context& context, const ServerOptions& options, const Events& events,
        Called called);
  Lobby(const Lobby&) = delete;
  Lobby& operator=(const Lobby&) = delete;
  ~Lobby();

  /// Greets a new client and waits for its first command.
  void Greet(Guest guest);
  /// Waits for the next command of a greeted guest.
  void Await(Guest guest);
  /// Answers the command whose header has arrived with "not begun" and `why`. Then closes.
  void Refuse(Guest guest, const std::string& why, Refusal kind);
  /// Answers the guest's next command with "not begun" and `why`, before it arrives. Then closes.
  void SayGoodbye(Guest guest, const std::string& why);
  /// Sends the end of the stream, and closes once the guest has closed or a time limit is over. So
  /// the guest can read the last answer.
  void Close(Guest guest);

  /// The server is about to end. Closes guests that were not greeted yet, and says goodbye to those
  /// that wait. Time limits for closing become shorter.
  void GoAway(const std::string& why);
  /// Closes all connections at once.
  void Cut();
  /// Closes the oldest connection, preferably one that has not sent a command. False if there is no
  /// connection.
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
