#include "companions/cpp/HandlerRegistry.h"

#include <utility>

namespace Ferrolink::Runtimes::Cpp::Native {

RegisteredHandler::~RegisteredHandler() {
  if (m_handler.release != nullptr) {
    m_handler.release(m_handler.context);
  }
}

HandlerRegistry& HandlerRegistry::Instance() {
  static auto* const registry = new HandlerRegistry();
  return *registry;
}

// Takes ownership of the context only after everything that can fail. Releases the replaced handler
// after the lock, because its release may run any code.
void HandlerRegistry::Add(std::string_view name, const ferrolink_handler& handler) {
  auto created = std::make_shared<RegisteredHandler>();
  std::string key(name);
  Handler replaced;
  const std::lock_guard<std::mutex> lock(m_mutex);
  Handler& entry = m_handlers[std::move(key)];
  created->Adopt(handler);
  replaced = std::exchange(entry, std::move(created));
}

bool HandlerRegistry::Remove(std::string_view name) {
  Handler removed;
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto entry = m_handlers.find(name);
  if (entry == m_handlers.end()) {
    return false;
  }
  removed = std::move(entry->second);
  m_handlers.erase(entry);
  return true;
}

HandlerRegistry::Handler HandlerRegistry::Find(std::string_view name) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto entry = m_handlers.find(name);
  return entry != m_handlers.end() ? entry->second : nullptr;
}

std::string HandlerRegistry::Names() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::string names;
  for (const auto& [name, handler] : m_handlers) {
    names += (names.empty() ? "" : ", ") + name;
  }
  return names.empty() ? "none" : names;
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
