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
#include <vector>

#include "companions/cpp/ferrolink/cpp_runtime.h"

namespace Ferrolink::Runtimes::Cpp::Native {

/// Owns a registered handler's context and releases it when the last owner goes: the registry, or a
/// call that is still running.
class RegisteredHandler {
 public:
  RegisteredHandler() = default;
  RegisteredHandler(const RegisteredHandler&) = delete;
  RegisteredHandler& operator=(const RegisteredHandler&) = delete;
  ~RegisteredHandler();

  void Adopt(const ferrolink_handler& handler) { m_handler = handler; }

  /// Whatever the handler throws passes through.
  std::int32_t Call(const std::uint8_t* payload, std::size_t length, ferrolink_reply* reply) const {
    return m_handler.call(m_handler.context, payload, length, reply);
  }

 private:
  ferrolink_handler m_handler{};
};

/// The handlers of the process by name. Any thread; the lock is held for a look-up or an assignment
/// only, never while a handler is called or released.
class HandlerRegistry {
 public:
  using Handler = std::shared_ptr<const RegisteredHandler>;

  /// The one of this process. Never destroyed: threads may still call when the process ends.
  static HandlerRegistry& Instance();

  /// Replaces what is registered under that name. Where memory runs out (std::bad_alloc) nothing
  /// has changed and the context is still the caller's.
  void Add(std::string_view name, const ferrolink_handler& handler);

  /// False where nothing is registered under that name.
  bool Remove(std::string_view name);

  /// Null where nothing is registered under that name. What is returned stays callable.
  [[nodiscard]] Handler Find(std::string_view name) const;

  /// In alphabetical order, separated by ", "; "none" where there are none.
  [[nodiscard]] std::string Names() const;

 private:
  // Guarded by m_mutex.
  mutable std::mutex m_mutex;
  std::map<std::string, Handler, std::less<>> m_handlers;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
