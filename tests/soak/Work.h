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

/// The work of the C++ program, one function per kind. Each is called repeatedly on a thread of its
/// own. When it returns, none of its commands is running.
namespace Ferrolink::Soak {

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

  void CallOnThisThread(Payloads& payloads);
  void CallOnShortLivedThreads(Payloads& payloads);
  void FailOnPurpose(Payloads& payloads);
  void Nest(Payloads& payloads);
  void ReplaceHandlers(Payloads& payloads);
  void LoadAgain(Payloads& payloads);
  void CallServers(Payloads& payloads);
  void Reconnect(Payloads& payloads);

  /// Raises an error inside the library, which logs it and pauses 50 ms each time.
  void FailInTheLibrary();

  /// Sends small commands on many threads at once. Afterwards the blocks that the library keeps
  /// under the ids of ended threads have one size, regardless of the earlier responses.
  void Settle();

  /// The figures of this process and of the servers, as members of a JSON object.
  std::string Figures();

  Tally& GetTally() { return m_tally; }

 private:
  using Receiver = Ferrolink::Native::Interfaces::IReceiver;
  using Transmitter = Ferrolink::Native::Interfaces::ITransmitter;
  enum class Server { Tcp, Tls };

  void ExpectBytes(std::string_view kind, const Bytes& got, Span expected);
  void ExpectError(std::string_view kind, const std::string& start,
                   const std::function<void()>& action);
  void CallBothServers(Span payload);
  void CallUnread(Payloads& payloads);
  [[nodiscard]] Bytes OverNetwork(Server server, std::string_view handler, Span payload) const;
  Bytes Ask(Server server, std::string_view handler, Span payload);
  void AskFreshChannel(Server server, Payloads& payloads);

  const Settings m_settings;
  Ferrolink::Host::Host m_host;
  Receiver* m_receiver;        // the library's own
  Transmitter* m_transmitter;  // the C++ member's own
  Tally m_tally;
};

}  // namespace Ferrolink::Soak

#endif
