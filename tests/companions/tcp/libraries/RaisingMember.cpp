// A member of the family that answers heartbeats. For other commands it raises an exception or
// misbehaves, as the body says.
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace {

constexpr int kHeader = 11;
constexpr std::uint8_t kHeartBeat = 11;

class RaisingReceiver : public Ferrolink::Native::Interfaces::IReceiver {
 public:
  int SetConfigSource(std::string /*source*/) override { return 0; }
  int Initialize(std::uint8_t calling, std::uint8_t called, std::uint8_t launch) override {
    m_initialized =
        std::to_string(calling) + " " + std::to_string(called) + " " + std::to_string(launch);
    return 0;
  }

  int SendCommand(std::uint8_t* message, int length) override {
    m_response.assign(message, message + length);
    if (message[kHeader - 1] == kHeartBeat) {
      m_response[kHeader - 1] = 0;
      return length;
    }
    const std::string body(message + kHeader, message + length);
    if (body == "initialized") {
      m_response = m_initialized;
    } else if (body == "nothing") {
      m_response.clear();
    } else if (body == "negative") {
      return -7;
    } else if (body == "odd") {
      throw 42;
    } else {
      throw std::runtime_error(body);
    }
    return static_cast<int>(m_response.size());
  }

  int ReadResponse(std::uint8_t* buffer, int length) override {
    if (m_response.empty()) {
      throw std::runtime_error("nothing to read");
    }
    std::memcpy(buffer, m_response.data(), static_cast<std::size_t>(length));
    return 0;
  }

  void LogException(std::uint8_t* /*message*/, int /*length*/) override {}
  int LoadOptimizedMethod(std::string /*name*/) override { return 0; }
  int SetEmbeddedRuntime(std::uint8_t /*runtime*/, std::string /*path*/) override { return 0; }
  int DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                    std::uint8_t /*flag*/) override {
    return 0;
  }

 private:
  std::string m_initialized;
  std::string m_response;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) Ferrolink::Native::Interfaces::IReceiver*
CreateReceiver(Ferrolink::Native::Definitions::RuntimeOperationMode mode) {
  static RaisingReceiver receiver;
  return mode == Ferrolink::Native::Definitions::RuntimeOperationMode::CalledRuntime ? &receiver
                                                                                     : nullptr;
}
