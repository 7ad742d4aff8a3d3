#include "companions/cpp/ThreadResponses.h"

#include <utility>

namespace Ferrolink::Runtimes::Cpp::Native {

void ThreadResponses::store(Response response) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_responses[std::this_thread::get_id()].swap(response);
}

std::optional<ThreadResponses::Response> ThreadResponses::take() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto entry = m_responses.find(std::this_thread::get_id());
  if (entry == m_responses.end()) {
    return std::nullopt;
  }
  std::optional<Response> response(std::move(entry->second));
  m_responses.erase(entry);
  return response;
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
