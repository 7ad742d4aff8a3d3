#ifndef FERROLINK_COMPANIONS_CPP_HANDLERREGISTRY_H
#define FERROLINK_COMPANIONS_CPP_HANDLERREGISTRY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "companions/cpp/ferrolink/cpp_runtime.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// Owns a registered handler's context and releases it on destruction. Shared by the registry and
/// the running calls.
class RegisteredHandler {
 public:
  RegisteredHandler() = default;
  RegisteredHandler(const RegisteredHandler&) = delete;
  RegisteredHandler& operator=(const RegisteredHandler&) = delete;
  ~RegisteredHandler();

  void Adopt(const ferrolink_handler& handler) { m_handler = handler; }

  /// Calls the handler. Its exceptions pass through.
  std::int32_t Call(const std::uint8_t* payload, std::size_t length, ferrolink_reply* reply) const {
    return m_handler.call(m_handler.context, payload, length, reply);
  }

 private:
  ferrolink_handler m_handler{};
};

/// The handlers of the process by name. Thread-safe. The lock is never held while a handler is
/// called or released.
class HandlerRegistry {
 public:
  using Handler = std::shared_ptr<const RegisteredHandler>;

  /// The registry of this process. Never destroyed: threads may still call when the process ends.
  static HandlerRegistry& Instance();

  /// Registers a handler and replaces one with the same name. After std::bad_alloc nothing has
  /// changed, and the caller still owns the context.
  void Add(std::string_view name, const ferrolink_handler& handler);

  /// Removes a handler. Returns false if none has that name.
  bool Remove(std::string_view name);

  /// The handler of that name, or null. It stays callable while the caller holds it.
  [[nodiscard]] Handler Find(std::string_view name) const;

  /// The names in alphabetical order, separated by ", ", or "none".
  [[nodiscard]] std::string Names() const;

 private:
  // Guarded by m_mutex.
  mutable std::mutex m_mutex;
  std::map<std::string, Handler, std::less<>> m_handlers;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
