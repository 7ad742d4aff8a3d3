#include "tests/companions/objects/FakeBroker.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace Ferrolink::Tests {
namespace {

namespace Objects = Ferrolink::Objects::detail;

constexpr std::size_t kHeader = 11;

BrokerRequest parse(Span command) {
  Objects::Reader reader(command.subspan(kHeader));
  const auto length = reader.TakeNumber<std::uint8_t>();
  const Span name = reader.TakeBytes(length);
  if (std::string(name.begin(), name.end()) != "objects") {
    throw std::invalid_argument("no typed call");
  }
  BrokerRequest request;
  for (auto left = reader.TakeNumber<std::uint16_t>(); left != 0; --left) {
    request.releases.push_back(reader.TakeNumber<std::uint64_t>());
  }
  request.operation = reader.TakeNumber<std::uint8_t>();
  const Span rest = reader.TakeBytes(reader.Left());
  request.rest.assign(rest.begin(), rest.end());
  return request;
}

}  // namespace

int FakeBroker::SendCommand(std::uint8_t* command, int length) {
  if (m_failing > 0) {
    --m_failing;
    throw std::runtime_error("JVM Launcher: Exception code 001. The test lets it fail");
  }
  const BrokerRequest request = parse({command, static_cast<std::size_t>(length)});
  constexpr std::uint8_t kRelease = 11;
  if (request.operation == kRelease) {
    ++m_releaseCommands;
  }
  // After this point, nested calls may use the memory of the command.
  std::memset(command, 0xDD, static_cast<std::size_t>(length));
  Bytes reply(kHeader);
  const Bytes body = request.operation == kRelease ? VoidReply() : m_answer(request);
  reply.insert(reply.end(), body.begin(), body.end());
  const std::size_t size = reply.size();
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_released.insert(m_released.end(), request.releases.begin(), request.releases.end());
    m_replies[std::this_thread::get_id()] = std::move(reply);
  }
  m_changed.notify_all();
  return static_cast<int>(size);
}

int FakeBroker::ReadResponse(std::uint8_t* buffer, int length) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto reply = m_replies.extract(std::this_thread::get_id());
  std::memcpy(buffer, reply.mapped().data(), static_cast<std::size_t>(length));
  return 0;
}

std::vector<std::uint64_t> FakeBroker::Released() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_released;
}

void FakeBroker::WaitForReleases(std::size_t count) {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_changed.wait(lock, [&] { return m_released.size() >= count; });
}

}  // namespace Ferrolink::Tests
