#ifndef FERROLINK_CPP_DETAIL_TYPEDHANDLER_H
#define FERROLINK_CPP_DETAIL_TYPEDHANDLER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ferrolink/Exchange.h"
#include "ferrolink/Library.h"
#include "ferrolink/detail/RegistrarTable.h"
#include "ferrolink/objects/detail/Callable.h"
#include "ferrolink/objects/detail/ScopeBreak.h"
#include "ferrolink/objects/detail/Session.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Cpp::detail {

namespace Typed = Objects::detail;

/// A function with typed parameters. Functions from bytes to bytes are ordinary handlers.
/// @code
/// static_assert(IsTyped<int (*)(std::string)>);
/// static_assert(!IsTyped<Host::Bytes (*)(std::span<const std::uint8_t>)>);
/// @endcode
template <class F>
concept IsTyped = Typed::IsCallable<F> &&
    !std::is_constructible_v<std::function<Host::Bytes(std::span<const std::uint8_t>)>, F>;

/// The session through which C++ functions use the Java objects that they receive: a session of the
/// program, if there is one, else a session through the transmitter of the C++ member. Errors:
/// InstallationError.
/// The session lives until the process ends. Thread-safe.
inline Typed::Session& SessionOfThisProcess() {
  if (Typed::Session* known = Typed::AnySession()) {
    return *known;
  }
  static Typed::Session& session = []() -> Typed::Session& {
    using Native::Definitions::RuntimeOperationMode;
    using Native::Interfaces::ITransmitter;
    const std::filesystem::path library = Host::FindLibrary({}, Host::kCppLibrary);
    auto* create = Host::FunctionOf<ITransmitter*(RuntimeOperationMode)>(
        Host::OpenLibrary(library), library, "CreateTransmitter");
    return Typed::SessionOf(*create(RuntimeOperationMode::CallingRuntime));
  }();
  return session;
}

/// A handler that decodes typed arguments, calls one function, and encodes its result. Thread-safe
/// if the function is.
/// @code
/// Handler handler = MakeTypedHandler([](std::span<const double> v) { return v.size() * 1.0; });
/// @endcode
class TypedHandler {
 public:
  /// `function` must not be null. Copies of this handler share it.
  explicit TypedHandler(std::shared_ptr<Typed::Callable> function)
      : m_function(std::move(function)), m_takesObjects(TakesObjects(*m_function)) {}

  /// Answers one call. If the arguments do not fit, the answer says why. Errors:
  /// std::invalid_argument for bytes that are no typed call; whatever the function throws.
  Host::Bytes operator()(std::span<const std::uint8_t> payload) const {
    if (payload.size() < 2 || payload[0] != Typed::kTypedCall) {
      throw std::invalid_argument(
          "This C++ function has typed parameters. Call it through Ferrolink.as(...) in Java, or "
          "with the encoding of typed calls.");
    }
    const std::size_t count = payload[1];
    const Typed::ScopeBreak noScope;
    Typed::Reader arguments(payload.subspan(2), m_takesObjects ? &SessionOfThisProcess() : nullptr);
    Typed::Buffer reply;
    reply.AppendNumber(Typed::kTypedCall);
    Typed::Writer result(reply, Typed::Handing::Given);
    try {
      m_function->Call(arguments, count, result);
    } catch (const Typed::ArgumentMismatch& error) {
      LetGo(payload.subspan(2), count);
      reply.Clear();
      reply.AppendNumber(Typed::kTypedMismatch);
      reply.AppendText(error.what());
    }
    return {reply.View().begin(), reply.View().end()};
  }

 private:
  // Without such parameters, no session is needed, and none is opened.
  static bool TakesObjects(const Typed::Callable& function) {
    const std::vector<Typed::Want> wants = function.Wants();
    return std::find(wants.begin(), wants.end(), Typed::Want::Handle) != wants.end();
  }

  // Releases the objects that Java passed to a function that takes none.
  void LetGo(std::span<const std::uint8_t> values, std::size_t count) const {
    if (m_takesObjects) {
      return;
    }
    std::vector<std::uint64_t> handles;
    Typed::Reader reader(values);
    for (; count != 0; --count) {
      reader.Skip([&](std::uint64_t handle) { handles.push_back(handle); });
    }
    for (const std::uint64_t handle : handles) {
      SessionOfThisProcess().Adopt(handle, 0);
    }
  }

  std::shared_ptr<Typed::Callable> m_function;
  bool m_takesObjects;
};

/// Wraps a function. Moves or copies it.
template <class F>
TypedHandler MakeTypedHandler(F&& function) {
  return TypedHandler(Typed::MakeCallable(std::forward<F>(function)));
}

}  // namespace Ferrolink::Cpp::detail

#endif
