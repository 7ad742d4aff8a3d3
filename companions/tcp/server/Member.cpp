#include "companions/tcp/server/Member.h"

#include <filesystem>
#include <string>

#include "ferrolink/detail/Exchange.h"
#include "ferrolink/detail/Library.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

using Native::Definitions::Runtime;
using Native::Interfaces::IReceiver;

IReceiver* openReceiver(Runtime runtime) {
  return Host::detail::openReceiver(
      Host::detail::findLibrary({}, runtime == Runtime::Jvm ? "libFerrolinkJvmRuntimeNative.so"
                                                            : "libFerrolinkCppRuntimeNative.so"));
}

}  // namespace

// Plug-ins come first: archives go to the class path of a JVM that is not started yet.
Member::Member(const ServerOptions& options)
    : m_runtime(options.runtime), m_receiver(openReceiver(options.runtime)) {
  m_receiver->Initialize(static_cast<std::uint8_t>(Runtime::Cpp),
                         static_cast<std::uint8_t>(m_runtime), 0);
  const std::string name = options.runtimeName();
  for (const std::string& plugIn : options.plugIns) {
    Bytes command =
        Host::detail::loadLibraryCommand(m_runtime, std::filesystem::absolute(plugIn).string());
    Host::detail::exchange(*m_receiver, command, name);
  }
  Host::detail::heartbeat(*m_receiver, m_runtime, name);
}

Bytes Member::run(Bytes& command) const {
  const int length = m_receiver->SendCommand(command.data(), static_cast<int>(command.size()));
  if (length < 0) {
    throw std::runtime_error("The runtime answered with the length " + std::to_string(length) +
                             ", which is no response.");
  }
  Bytes response(static_cast<std::size_t>(length));
  if (length > 0) {
    m_receiver->ReadResponse(response.data(), length);
  }
  return response;
}

}  // namespace Ferrolink::Companions::Tcp::Server
