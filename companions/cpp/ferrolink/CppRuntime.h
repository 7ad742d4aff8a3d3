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
#include "ferrolink/cpp_runtime.h"
#include "ferrolink/detail/ExceptionText.h"
#include "ferrolink/detail/Exchange.h"
#include "ferrolink/detail/Library.h"
#include "ferrolink/detail/RegistrarTable.h"
#include "ferrolink/detail/TypedHandler.h"

/// Header-only helper for C++ programs and plug-in libraries whose functions other runtimes call.
/// Needs C++20; nothing of the family is linked.
///
///   Ferrolink::Cpp::Register("reverse", [](std::span<const std::uint8_t> bytes) {
///     return Ferrolink::Cpp::Bytes(bytes.rbegin(), bytes.rend());
///   });
///
/// To call other runtimes: ferrolink/Caller.h.
namespace Ferrolink::Cpp {

using Host::Bytes;
using Host::DeadlineError;
using Host::Error;
using Host::InstallationError;
using Host::LibraryError;
using Host::ProtocolError;
using Host::RemoteError;
using Host::ToBytes;
using Host::ToText;

/// Answers one call: the caller's bytes, valid during the call, to the bytes that the caller gets.
/// Runs on the caller's thread, on many threads at once. Whatever it throws is told to the caller:
/// class and text, and those of the exceptions nested in it.
using Handler = std::function<Bytes(std::span<const std::uint8_t>)>;

namespace detail {

// Exceptions end here, so that a handler may come from any compiler's C++ library. A thread that is
// being ended goes on ending; the C++ runtime then binds the reference to nothing, which the
// undefined-behaviour sanitizer would report.
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

inline void ReleaseHandler(void* context) {
  delete static_cast<Handler*>(context);
}

}  // namespace detail

/// Where handlers are registered. Holds nothing and may be copied; what it registers stays after
/// it is gone. Thread rule: any thread, from inside handlers as well.
class Registrar {
 public:
  /// For programs: finds and opens the library, in `libraryDirectory`; where that is empty, the
  /// copy that the process has open already, else in the installation that FERROLINK_HOME names or
  /// that lies around the executable. Errors: InstallationError.
  explicit Registrar(const std::filesystem::path& libraryDirectory = {})
      : m_table(detail::OpenRegistrar(libraryDirectory)) {}

  /// For plug-in libraries: what ferrolink_register_handlers is given.
  explicit Registrar(const ferrolink_registrar* table) : m_table(table) {}

  /// Makes a function callable under `name`, 1 to 255 bytes of UTF-8. One that has the name already
  /// is replaced: calls that run end undisturbed, later ones reach the new one. The function is
  /// destroyed when nobody can call it any more, on whatever thread that is; it is not destroyed
  /// where the process ends first. Errors: std::invalid_argument, std::bad_alloc.
  void Register(std::string_view name, Handler handler) const {
    if (handler == nullptr) {
      throw std::invalid_argument("The handler '" + std::string(name) + "' is an empty function.");
    }
    auto owned = std::make_unique<Handler>(std::move(handler));
    const ferrolink_handler entry{detail::CallHandler, owned.get(), detail::ReleaseHandler};
    switch (m_table->register_handler(name.data(), name.size(), &entry)) {
      case FERROLINK_OK:
        static_cast<void>(owned.release());  // the library's from here on
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
  ///
  ///   Register("sum", [](std::span<const double> v) -> double { ... });
  template <class F>
  requires(detail::IsTyped<F>) void Register(std::string_view name, F&& function) const {
    Register(name, Handler(detail::MakeTypedHandler(std::forward<F>(function))));
  }

  /// Ends that; calls that run end undisturbed. False where nothing is registered under `name`.
  bool Unregister(std::string_view name) const {
    return m_table->unregister_handler(name.data(), name.size()) == FERROLINK_OK;
  }

 private:
  const ferrolink_registrar* m_table;
};

/// As the members of a Registrar of the program's own installation.
inline void Register(std::string_view name, Handler handler) {
  Registrar().Register(name, std::move(handler));
}
template <class F>
requires(detail::IsTyped<F>) void Register(std::string_view name, F&& function) {
  Registrar().Register(name, std::forward<F>(function));
}
inline bool Unregister(std::string_view name) {
  return Registrar().Unregister(name);
}

}  // namespace Ferrolink::Cpp

#endif
