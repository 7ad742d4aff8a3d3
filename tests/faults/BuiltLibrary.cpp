#include "tests/faults/BuiltLibrary.h"

#include <dlfcn.h>

#include <stdexcept>

#include "native/interfaces/RuntimeOperationMode.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace Ferrolink::Tests {

BuiltLibrary::BuiltLibrary(const std::filesystem::path& file)
    : m_handle(dlopen(file.c_str(), RTLD_NOW)) {
  if (m_handle == nullptr) {
    throw std::runtime_error("cannot open " + file.string());
  }
}

void* BuiltLibrary::Address(const char* name) const {
  return dlsym(m_handle, name);
}

IReceiver* BuiltLibrary::Receiver() const {
  return Find<IReceiver*(RuntimeOperationMode)>("CreateReceiver")(
      RuntimeOperationMode::CalledRuntime);
}

ITransmitter* BuiltLibrary::Transmitter() const {
  return Find<ITransmitter*(RuntimeOperationMode)>("CreateTransmitter")(
      RuntimeOperationMode::CallingRuntime);
}

Bytes ToJava(std::uint8_t type, const std::string& body) {
  constexpr std::size_t kHeader = 11;
  Bytes bytes(kHeader + body.size(), 0);
  bytes[0] = 2;
  bytes[9] = 8;
  bytes[10] = type;
  for (std::size_t i = 0; i < body.size(); ++i) {
    bytes[kHeader + i] = static_cast<std::uint8_t>(body[i]);
  }
  return bytes;
}

Bytes ToRuntime8(std::uint8_t channel) {
  return {8, 0, channel, 127, 0, 0, 1, 99, 0, 2, 2};
}

std::string Exchange(IReceiver& receiver, Bytes command) {
  std::string response;
  const std::string thrown = ThrownBy([&] {
    const int length = receiver.SendCommand(command.data(), static_cast<int>(command.size()));
    Bytes bytes(static_cast<std::size_t>(length));
    receiver.ReadResponse(bytes.data(), length);
    response = bytes == command ? "echo" : std::string(bytes.begin(), bytes.end());
  });
  return response.empty() ? thrown : response;
}

std::string Send(ITransmitter& transmitter, Bytes command) {
  std::string result;
  const std::string thrown = ThrownBy([&] {
    result =
        std::to_string(transmitter.SendCommand(command.data(), static_cast<int>(command.size())));
  });
  return result.empty() ? thrown : result;
}

}  // namespace Ferrolink::Tests
