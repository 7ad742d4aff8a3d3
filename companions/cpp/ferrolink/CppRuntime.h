#ifndef FERROLINK_CPP_CPPRUNTIME_H
#define FERROLINK_CPP_CPPRUNTIME_H

#include <cxxabi.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "ferrolink/Errors.h"
#include "ferrolink/Exchange.h"
#include "ferrolink/Library.h"
#include "ferrolink/cpp_runtime.h"
#include "ferrolink/detail/ExceptionText.h"
#include "ferrolink/detail/RegistrarTable.h"
#include "ferrolink/detail/TypedHandler.h"
#include "ferrolink/protocol/Bytes.h"

/// Header-only helper for C++ programs and plug-in libraries whose functions other runtimes call.
/// Needs C++20. Programs link no library of the family:
/// @code
/// Ferrolink::Cpp::Register("reverse", [](Ferrolink::Cpp::ByteView bytes) {
///   return Ferrolink::Cpp::Bytes(bytes.rbegin(), bytes.rend());
/// });
/// @endcode
/// A plug-in library exports a function instead, which the load-library command calls:
/// @code
/// extern "C" int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
///   Ferrolink::Cpp::Registrar(table).Register("reverse", Reverse);
///   return FERROLINK_OK;
/// }
/// @endcode
/// To call other runtimes: ferrolink/Caller.h.
namespace Ferrolink::Cpp {

using Host::Bytes;
using Host::ByteView;
using Host::DeadlineError;
using Host::Error;
using Host::InstallationError;
using Host::LibraryError;
using Host::ProtocolError;
using Host::RemoteError;
using Host::ToBytes;
using Host::ToText;

/// Answers one call. The parameter is the caller's bytes, valid during the call; the result is what
/// the caller gets. Must be thread-safe: it runs on the threads of its callers. If it throws, the
/// caller gets class and text of the exception and of those nested in it.
using Handler = std::function<Bytes(ByteView)>;

namespace detail {

/// The call function of the C interface. No exception leaves it, so a handler may be built with any
/// compiler's C++ library. If the thread ends inside (pthread_exit), its unwinding continues. The
/// C++ runtime then binds the reference of the catch clause to null, which the undefined-behaviour
/// sanitizer would report.
__attribute__((no_sanitize("null"))) inline std::int32_t CallHandler(void* context,
                                                                     const std::uint8_t* payload,
                                                                     std::size_t length,
                                                                     ferrolink_reply* reply) {
  try {
    const Bytes answer = (*static_cast<const Handler*>(context))({payload, length});
    return reply->append(reply, answer.data(), answer.size());
  }
#if defined(__GLIBCXX__)
  catch (const abi::__forced_unwind&) {
    throw;
  }
#endif
  catch (...) {
    const std::string text = DescribeCurrentException();
    reply->fail(reply, text.data(), text.size());
    return FERROLINK_HANDLER_FAILED;
  }
}

/// The release function of the C interface.
inline void ReleaseHandler(void* context) {
  delete static_cast<Handler*>(context);
}

}  // namespace detail

/// Registers handlers:
/// @code
/// const Ferrolink::Cpp::Registrar registrar;
/// registrar.Register("now", [](Ferrolink::Cpp::ByteView) {
///   return Ferrolink::Cpp::ToBytes(std::to_string(std::time(nullptr)));
/// });
/// @endcode
/// Copyable. Handlers stay registered after its destruction. Thread-safe, also inside handlers.
class Registrar {
 public:
  /// For programs: finds the library as Host::FindLibrary does, and opens it. Errors:
  /// InstallationError.
  explicit Registrar(const std::filesystem::path& libraryDirectory = {})
      : m_table(detail::OpenRegistrar(libraryDirectory)) {}

  /// For plug-in libraries: `table` is the parameter of ferrolink_register_handlers.
  explicit Registrar(const ferrolink_registrar* table) : m_table(table) {}

  /// Makes a function callable under `name`, 1 to 255 bytes of UTF-8. Replaces a function of the
  /// same name: running calls complete, later ones reach the new function. A function is destroyed
  /// after its last call, on an unspecified thread; not if the process ends first. Errors:
  /// std::invalid_argument, std::bad_alloc.
  void Register(std::string_view name, Handler handler) const {
    if (handler == nullptr) {
      throw std::invalid_argument("The handler '" + std::string(name) + "' is an empty function.");
    }
    auto owned = std::make_unique<Handler>(std::move(handler));
    const ferrolink_handler entry{detail::CallHandler, owned.get(), detail::ReleaseHandler};
    switch (m_table->register_handler(name.data(), name.size(), &entry)) {
      case FERROLINK_OK:
        static_cast<void>(owned.release());  // owned by the library now
        return;
      case FERROLINK_OUT_OF_MEMORY:
        throw std::bad_alloc();
      default:
        throw std::invalid_argument("A handler's name has 1 to 255 bytes: '" + std::string(name) +
                                    "'.");
    }
  }

  /// The same for a function with typed parameters and a typed result, which Java calls through an
  /// interface (Ferrolink.as) and other C++ programs with the encoding of typed calls. They have
  /// the types of Ferrolink::Objects::Java, Object included.
  /// @code
  /// Register("sum", [](std::span<const double> v) -> double { ... });
  /// @endcode
  template <class F>
  requires(detail::IsTyped<F>) void Register(std::string_view name, F&& function) const {
    Register(name, Handler(detail::MakeTypedHandler(std::forward<F>(function))));
  }

  /// Unregisters a function; running calls complete. Returns false if none has that name.
  bool Unregister(std::string_view name) const {
    return m_table->unregister_handler(name.data(), name.size()) == FERROLINK_OK;
  }

 private:
  const ferrolink_registrar* m_table;
};

/// The same with the Registrar of the program's own installation.
inline void Register(std::string_view name, Handler handler) {
  Registrar().Register(name, std::move(handler));
}
/// The same with the Registrar of the program's own installation.
template <class F>
requires(detail::IsTyped<F>) void Register(std::string_view name, F&& function) {
  Registrar().Register(name, std::forward<F>(function));
}
/// The same with the Registrar of the program's own installation.
inline bool Unregister(std::string_view name) {
  return Registrar().Unregister(name);
}

}  // namespace Ferrolink::Cpp

#endif
