#include "companions/tcp/server/Member.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "ferrolink/Exchange.h"
#include "ferrolink/JavaHomes.h"
#include "ferrolink/Library.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

using Native::Definitions::Runtime;
using Native::Interfaces::IReceiver;

IReceiver* OpenReceiver(Runtime runtime) {
  Host::NameJavaUnlessNamed();
  return Host::OpenReceiver(
      Host::FindLibrary({}, runtime == Runtime::Jvm ? Host::kJvmLibrary : Host::kCppLibrary));
}

}  // namespace

// Plug-ins come first, because archives are added to the class path of a JVM that has not started.
Member::Member(const ServerOptions& options)
    : m_runtime(options.runtime), m_receiver(OpenReceiver(options.runtime)) {
  m_receiver->Initialize(static_cast<std::uint8_t>(Runtime::Cpp),
                         static_cast<std::uint8_t>(m_runtime), 0);
  const std::string name = options.RuntimeName();
  for (const std::string& plugIn : options.plugIns) {
    Host::ExchangeLoadLibrary(*m_receiver, m_runtime, std::filesystem::absolute(plugIn).string(),
                              name);
  }
  Host::ExchangeHeartbeat(*m_receiver, m_runtime, name);
}

std::size_t Member::Execute(std::span<std::uint8_t> command) const {
  const int length = m_receiver->SendCommand(command.data(), static_cast<int>(command.size()));
  if (length < 0) {
    throw std::runtime_error("The runtime answered with the length " + std::to_string(length) +
                             ", which is no response.");
  }
  return static_cast<std::size_t>(length);
}

void Member::readResponse(std::span<std::uint8_t> room) const {
  if (!room.empty()) {
    m_receiver->ReadResponse(room.data(), static_cast<int>(room.size()));
  }
}

// A partial read discards the whole response.
void Member::DropResponse(std::size_t length) const {
  std::uint8_t beginning = 0;
  readResponse({&beginning, std::min<std::size_t>(length, 1)});
}

}  // namespace Ferrolink::Companions::Tcp::Server
