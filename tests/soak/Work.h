#ifndef FERROLINK_TESTS_SOAK_WORK_H
#define FERROLINK_TESTS_SOAK_WORK_H

#include <ferrolink/Host.h>

#include <cstdint>
#include <functional>
#include <string>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "tests/soak/Gate.h"
#include "tests/soak/Payloads.h"
#include "tests/soak/Tally.h"

/// The work of the C++ program: one function for each kind, each called again and again on a thread
/// of its own, and each leaving nothing under way when it returns.
namespace FerrolinkSoak {

struct Settings {
  std::string root;                    ///< of the installation
  std::vector<std::string> libraries;  ///< plug-ins of the C++ member
  std::string archive;                 ///< with the Java handlers
  std::uint16_t tcpPort = 0;           ///< of a server with the C++ member
  std::uint16_t tlsPort = 0;           ///< of a server with the JVM member
};

class Program {
 public:
  explicit Program(Settings settings);

  void callOnThisThread(Payloads& payloads);
  void callOnShortLivedThreads(Payloads& payloads);
  void failOnPurpose(Payloads& payloads);
  void nest(Payloads& payloads);
  void replaceHandlers(Payloads& payloads);
  void loadAgain(Payloads& payloads);
  void callServers(Payloads& payloads);
  void reconnect(Payloads& payloads);

  /// Raises inside the library, which logs it and pauses 50 ms each time.
  void failInTheLibrary();

  /// Small commands on each of many threads at once: blocks that the library keeps under the ids
  /// of ended threads have the same size afterwards, whatever those threads had read.
  void settle();

  /// The figures of this process and of the servers, as the members of a JSON object.
  std::string figures();

  Tally& tally() { return m_tally; }

 private:
  using Receiver = Ferrolink::Native::Interfaces::IReceiver;
  using Transmitter = Ferrolink::Native::Interfaces::ITransmitter;
  enum class Server { Tcp, Tls };

  void expectBytes(std::string_view kind, const Bytes& got, Span expected);
  void expectError(std::string_view kind, const std::string& start,
                   const std::function<void()>& action);
  void callBothServers(Span payload);
  void callUnread(Payloads& payloads);
  [[nodiscard]] Bytes overNetwork(Server server, std::string_view handler, Span payload) const;
  Bytes ask(Server server, std::string_view handler, Span payload);
  void askFreshChannel(Server server, Payloads& payloads);

  const Settings m_settings;
  Ferrolink::Host::Host m_host;
  Receiver* m_receiver;        // the library's own
  Transmitter* m_transmitter;  // the C++ member's own
  Tally m_tally;
};

}  // namespace FerrolinkSoak

#endif
