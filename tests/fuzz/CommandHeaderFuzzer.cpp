// Feeds command headers to the transmitter's routing, the C++ member's parser, and the host's
// parser of replies.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "companions/cpp/CppLauncher.h"
#include "companions/cpp/HandlerRegistry.h"
#include "companions/cpp/Utf8.h"
#include "ferrolink/Errors.h"
#include "ferrolink/Exchange.h"
#include "ferrolink/protocol/CommandParts.h"
#include "ferrolink/protocol/Commands.h"
#include "native/FerrolinkNativeException.h"
#include "native/NativeTransmitter.h"
#include "tests/fuzz/Fuzzing.h"

using namespace Ferrolink::Fuzz;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
namespace Header = Ferrolink::Native::Definitions::CommandHeader;
namespace Cpp = Ferrolink::Runtimes::Cpp::Native;
namespace Host = Ferrolink::Host;
using Ferrolink::Native::Transmitter::NativeTransmitter;

namespace {

constexpr std::uint8_t kEchoFirstSpecialType = 0x7B;  // EchoSibling.cpp
constexpr std::uint8_t kEchoLastSpecialType = 0x7E;

/// Forwards to a channel of another owner, for the transmitter.
class FixedChannel : public Ferrolink::Native::Interfaces::ITransport {
 public:
  int Initialize(std::uint8_t /*a*/, std::uint8_t /*b*/, std::uint8_t /*c*/) override { return 0; }
  int SendCommand(std::uint8_t* /*message*/, int /*length*/) override { return 0; }
  int ReadResponse(std::uint8_t* /*buffer*/, int /*length*/) override { return kRead; }
  int SetEmbeddedRuntime(std::uint8_t /*a*/, std::uint8_t /*b*/, std::uint8_t /*c*/,
                         std::string /*path*/) override {
    return 0;
  }
  int DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                    std::uint8_t /*flag*/) override {
    return 0;
  }

  static constexpr int kRead = 77;
};

std::string ByteAt(const Bytes& command, int offset) {
  return std::to_string(command.at(static_cast<std::size_t>(offset)));
}

// The address that EchoSibling appends to a command on a network channel.
std::string AddressIn(const Bytes& command) {
  std::string address;
  for (int octet = 0; octet < 4; ++octet) {
    address += (octet == 0 ? "" : ".") + ByteAt(command, Header::kAddress + octet);
  }
  const int port = command.at(Header::kPort) + 256 * command.at(Header::kPort + 1);
  return address + ":" + std::to_string(port);
}

// Expects the command back, from the endpoint of its header.
void ExpectEcho(NativeTransmitter& transmitter, const Bytes& command, int length) {
  const std::uint8_t type = command.at(Header::kCommandType);
  if (type >= kEchoFirstSpecialType && type <= kEchoLastSpecialType) {
    return;
  }
  const bool overNetwork = command.at(Header::kChannelType) != 0;
  const std::string expected = TextOf(command) + (overNetwork ? AddressIn(command) : "");
  Require(length == static_cast<int>(expected.size()), "the response is as long as was answered");
  Bytes response(expected.size());
  response[Header::kTargetRuntime] = command[Header::kTargetRuntime];
  transmitter.ReadResponse(response.data(), length);
  Require(TextOf(response) == expected, "a command reaches the endpoint that its header names");
}

void Send(NativeTransmitter& transmitter, Bytes command) {
  const Bytes before = command;
  const int length = transmitter.SendCommand(command.data(), static_cast<int>(command.size()));
  Require(command == before, "a command stays as it is");
  Require(command.size() >= Header::kSize, "a command without a complete header is refused");
  Require(command[Header::kChannelType] <= 2, "an unknown channel type is refused");
  ExpectEcho(transmitter, command, length);
}

void Operate(NativeTransmitter& transmitter, Input& input) {
  const std::uint8_t operation = input.TakeByte();
  const std::size_t length = input.TakeByte();
  Bytes bytes = input.Take(length);
  switch (operation % 5) {
    case 0:
      Send(transmitter, std::move(bytes));
      break;
    case 1:  // reads are routed by the buffer's first byte, which callers have
      bytes.resize(std::max<std::size_t>(bytes.size(), 1));
      transmitter.ReadResponse(bytes.data(), static_cast<int>(bytes.size()));
      break;
    case 2:  // the length is the caller's to check
      bytes.resize(std::max<std::size_t>(bytes.size(), Header::kSize));
      transmitter.DeployRuntime(bytes.data(), static_cast<int>(bytes.size()), TextOf(bytes),
                                operation);
      break;
    case 3:
      bytes.resize(std::max<std::size_t>(bytes.size(), 3));
      transmitter.SetEmbeddedRuntime(bytes[0], bytes[1], bytes[2], TextOf(bytes));
      break;
    default: {
      transmitter.SetTransportChannel(new FixedChannel);
      std::uint8_t byte = 0;
      Require(transmitter.ReadResponse(&byte, 1) == FixedChannel::kRead,
              "a channel that is set is read from");
    }
  }
}

// A new transmitter for each input, because it keeps a channel for each endpoint.
void RunTransmitter(Input& input) {
  NativeTransmitter transmitter(RuntimeOperationMode::CallingRuntime);
  while (!input.AtEnd()) {
    try {
      Operate(transmitter, input);
    } catch (const std::runtime_error& error) {
      Require(std::string_view(error.what()).size() > 0, "an error says what failed");
    } catch (int) {
      // The exception of EchoSibling, unchanged.
    }
  }
}

std::int32_t Echo(void* /*context*/, const std::uint8_t* payload, std::size_t length,
                  ferrolink_reply* reply) {
  Require(payload != nullptr, "a payload is never null");
  return reply->append(reply, payload, length);
}
std::int32_t Fail(void* /*context*/, const std::uint8_t* payload, std::size_t length,
                  ferrolink_reply* reply) {
  return reply->fail(reply, reinterpret_cast<const char*>(payload), length);
}
std::int32_t Raise(void* /*context*/, const std::uint8_t* payload, std::size_t length,
                   ferrolink_reply* /*reply*/) {
  throw std::runtime_error(std::string(reinterpret_cast<const char*>(payload), length));
}

// Confines the path to the jail, where there are no libraries.
Bytes ConfinedCommand(Bytes command) {
  constexpr std::size_t kPath = Header::kLibraryPath;
  if (command.size() <= kPath || command[Header::kCommandType] != Header::kTypeLoadLibrary) {
    return command;
  }
  const std::string text = TextOf(command);
  return BytesOf(text.substr(0, kPath) + Confined(text.substr(kPath)));
}

// The handler's name length, its name and the payload; empty if the command calls no handler.
std::string CallIn(const Bytes& command) {
  const std::string text = TextOf(command);
  switch (command.size() < Header::kSize ? 0 : command[Header::kCommandType]) {
    case Header::kTypeCallHandler:
      return text.substr(Header::kSize);
    case Header::kTypeCallWithin:
      return text.substr(std::min<std::size_t>(text.size(), Header::kNameLengthWithin));
    default:
      return {};
  }
}

void ExpectReply(const Bytes& command, const Bytes& reply) {
  Require(reply.size() >= Header::kSize, "a reply has a header");
  const std::uint8_t type = reply[Header::kCommandType];
  const std::string body = TextOf(reply).substr(Header::kSize);
  Require(type == 0 || type == Header::kTypeExceptionReport, "a reply is of type 0 or 10");
  Require(reply[Header::kCallingRuntime] == 8, "a reply comes from the C++ member");
  Require(reply[Header::kTargetRuntime] ==
              (command.size() < Header::kSize ? 0 : command[Header::kCallingRuntime]),
          "a reply goes to the caller");
  Require(type == 0 || (!body.empty() && Cpp::ValidUtf8(body) == body),
          "an exception report is a text in UTF-8");
  const std::string call = CallIn(command);
  if (call.starts_with("\x04"
                       "echo")) {
    Require(type == 0 && body == call.substr(5), "echo gives it back");
  }
}

void RunCppMember(Input& input) {
  Cpp::Launcher::CppLauncher launcher(RuntimeOperationMode::CalledRuntime);
  Bytes command = ConfinedCommand(input.TakeRest());
  const Bytes before = command;
  const InJail jailed;
  const int length = launcher.SendCommand(command.data(), static_cast<int>(command.size()));
  Require(command == before, "a command stays as it is");
  Bytes reply(static_cast<std::size_t>(length));
  launcher.ReadResponse(reply.data(), length);
  ExpectReply(command, reply);
}

/// A role that answers with bytes of the input, and with zeros if it announced more.
struct ScriptedRole {
  int length;
  Bytes answer;

  int SendCommand(const std::uint8_t* /*command*/, int /*size*/) const { return length; }
  int ReadResponse(std::uint8_t* buffer, int size) const {
    const auto room = static_cast<std::size_t>(size);
    std::fill_n(buffer, room, std::uint8_t{0});
    std::copy_n(answer.begin(), std::min(answer.size(), room), buffer);
    return 0;
  }
};

// The announced length may differ from that of the bytes, and may be negative.
void RunHost(Input& input) {
  const int difference = static_cast<std::int8_t>(input.TakeByte());
  Bytes answer = input.TakeRest();
  ScriptedRole role{static_cast<int>(answer.size()) + difference, answer};
  Bytes command = Ferrolink::Protocol::EmptyCommand({.target = Host::Runtime::Jvm}, 2);
  answer.resize(static_cast<std::size_t>(std::max(role.length, 0)));
  const std::string body = answer.size() < Header::kSize
                               ? std::string()
                               : TextOf(answer).substr(static_cast<std::size_t>(Header::kSize));
  try {
    const Bytes reply = Host::Exchange(role, command, "A role");
    Require(TextOf(reply) == body && role.length >= Header::kSize, "a reply's body is returned");
    Require(answer.at(Header::kCommandType) != Header::kTypeExceptionReport,
            "an exception report is raised");
  } catch (const Host::RemoteError& raised) {
    Require(raised.what() == std::string(body.c_str()), "an error has the text of its report");
  } catch (const Host::ProtocolError&) {
    Require(role.length < Header::kSize, "only what is no reply is refused");
  }
}

void AddHandler(std::string_view name, std::int32_t (*function)(void*, const std::uint8_t*,
                                                                std::size_t, ferrolink_reply*)) {
  Cpp::HandlerRegistry::Instance().Add(name, {function, nullptr, nullptr});
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  setenv("FERROLINK_LOGGING_LEVEL", "off", 1);
  AddHandler("echo", Echo);
  AddHandler("fail", Fail);
  AddHandler("raise", Raise);
  return 0;
}

// The first byte selects which of the three reads the rest.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  switch (input.TakeByte() % 3) {
    case 'c' % 3:
      RunCppMember(input);
      break;
    case 'h' % 3:
      RunHost(input);
      break;
    default:
      RunTransmitter(input);
  }
  return 0;
}
