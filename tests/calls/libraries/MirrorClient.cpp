// A network client library that answers in the process: every command comes back to the thread that
// sent it, with the client's name and endpoint in front of its body. A command whose body holds
// "fail:" fails with a long text that ends in what follows.
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "native/interfaces/ITransport.h"

namespace {

using Ferrolink::Native::Interfaces::ITransport;

constexpr int kHeader = 11;

class MirrorChannel : public ITransport {
 public:
  explicit MirrorChannel(const std::string& endpoint)
      : m_greeting(std::string(MIRROR_NAME) + " " + endpoint + " ") {}

  int Initialize(std::uint8_t /*calling*/, std::uint8_t /*called*/,
                 std::uint8_t /*launchArgument*/) override {
    return 0;
  }

  int SendCommand(std::uint8_t* message, int length) override {
    const std::string_view body(reinterpret_cast<const char*>(message) + kHeader,
                                static_cast<std::size_t>(length - kHeader));
    if (const auto failure = body.find("fail:"); failure != std::string_view::npos) {
      const std::string reason(body.substr(failure + 5));
      throw std::runtime_error(m_greeting + "refuses " + std::string(500, reason.at(0)) + " " +
                               reason);
    }
    std::string response(kHeader, '\0');
    response += m_greeting;
    response += body;
    const int size = static_cast<int>(response.size());
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_responses[std::this_thread::get_id()] = std::move(response);
    return size;
  }

  int ReadResponse(std::uint8_t* buffer, int length) override {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string& response = m_responses.at(std::this_thread::get_id());
    std::memcpy(buffer, response.data(),
                std::min(response.size(), static_cast<std::size_t>(length)));
    return 0;
  }

  int SetEmbeddedRuntime(std::uint8_t /*calling*/, std::uint8_t /*called*/,
                         std::uint8_t /*launchArgument*/, std::string /*path*/) override {
    return 0;
  }
  int DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                    std::uint8_t /*flag*/) override {
    return 0;
  }

 private:
  const std::string m_greeting;
  std::mutex m_mutex;
  std::map<std::thread::id, std::string> m_responses;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) ITransport* CreateTransportChannel(
    const char* host, std::uint16_t port) {
  return new MirrorChannel(std::string(host) + ":" + std::to_string(port));
}
