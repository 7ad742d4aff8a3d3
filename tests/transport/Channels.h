#ifndef FERROLINK_TESTS_TRANSPORT_CHANNELS_H
#define FERROLINK_TESTS_TRANSPORT_CHANNELS_H

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "native/NativeTransmitter.h"
#include "tests/jvm/LauncherFixture.h"
#include "tests/transport/TransportFixture.h"

/// A transmitter whose channels lead to fakes.
namespace Ferrolink::Tests {

using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::ITransport;
using Ferrolink::Native::Transmitter::NativeTransmitter;

inline constexpr const char* kCpp = "libFerrolinkCppRuntimeNative.so";
inline constexpr const char* kTcp = "libFerrolinkTcpClient.so";
inline constexpr const char* kTls = "libFerrolinkTcpTlsClient.so";

inline const std::string kNoChannel =
    "Ferrolink Native Exception: Exception code 020. \nNo channel selected";

inline Bytes InMemory() {
  return {8, 3, 0, 0, 0, 0, 0, 0, 0, 2, 2};
}

inline Bytes Network(std::uint8_t type, std::uint8_t port) {
  return {8, 3, type, 127, 0, 0, 1, port, 0, 2, 2};
}

inline int Send(NativeTransmitter& transmitter, Bytes command) {
  return transmitter.SendCommand(command.data(), static_cast<int>(command.size()));
}

/// The fill of the buffer: 90 of an in-memory receiver, the port of a network channel.
inline std::string Read(NativeTransmitter& transmitter) {
  Bytes buffer = {8};
  const std::string thrown = ThrownBy([&] { transmitter.ReadResponse(buffer.data(), 1); });
  return thrown == "(nothing thrown)" ? Numbers(buffer) : thrown;
}

struct Channels : SiblingTree {
  Channels() {
    AddRuntime("Cpp", FAKESIBLING_PATH);
    AddRuntime("Jvm", FAKESIBLING_PATH);
    AddLibrary(kTcp, FAKESIBLING_PATH);
    AddLibrary(kTls, FAKESIBLING_PATH);
  }
  void Expect(const std::string& name, const Texts& expected, const CaseOptions& options = {}) {
    const CaseResult result = Run(name, options);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.report, expected) << result.err;
  }
};

/// The one of the case: never destroyed, so the channels' libraries stay in use.
inline NativeTransmitter& TheTransmitter() {
  static auto* const made = new NativeTransmitter(RuntimeOperationMode::CallingRuntime);
  return *made;
}

/// A channel of a test's own, told by its name.
class NamedChannel : public ITransport {
 public:
  explicit NamedChannel(std::string name) : m_name(std::move(name)) {}
  ~NamedChannel() override { Report("~" + m_name); }
  int Initialize(std::uint8_t, std::uint8_t, std::uint8_t) override { return 0; }
  int SendCommand(std::uint8_t*, int) override { return 0; }
  int ReadResponse(std::uint8_t*, int) override {
    Report("read from " + m_name);
    return 5;
  }
  int SetEmbeddedRuntime(std::uint8_t, std::uint8_t, std::uint8_t, std::string) override {
    return 0;
  }
  int DeployRuntime(std::uint8_t*, int, std::string, std::uint8_t) override { return 0; }

 private:
  const std::string m_name;
};

}  // namespace Ferrolink::Tests

#endif
