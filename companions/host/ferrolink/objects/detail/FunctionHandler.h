#ifndef FERROLINK_HOST_OBJECTS_DETAIL_FUNCTIONHANDLER_H
#define FERROLINK_HOST_OBJECTS_DETAIL_FUNCTIONHANDLER_H

#include <cxxabi.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

#include "ferrolink/Errors.h"
#include "ferrolink/Library.h"
#include "ferrolink/cpp_runtime.h"
#include "ferrolink/detail/ExceptionText.h"
#include "ferrolink/detail/RegistrarTable.h"
#include "ferrolink/objects/JavaException.h"
#include "ferrolink/objects/detail/FunctionTable.h"
#include "ferrolink/objects/detail/Keeper.h"
#include "ferrolink/objects/detail/ScopeBreak.h"

namespace Ferrolink::Objects::detail {

/// The handler of the C++ member through which Java calls the C++ functions of this module. A
/// module is a program or library that was compiled with this header; each has a handler of its
/// own.
///
/// Lifetime: the handler stays registered until the process ends, and so does this module's code.
/// Thread rule: thread-safe.
/// @code
/// request.Out().AppendText(FunctionHandler::NameIn(session));
/// @endcode
class FunctionHandler {
 public:
  /// Registers the handler at the first call and returns its name. Opens the C++ member: the copy
  /// that the process has open, else the one beside the session's library. A failed registration is
  /// tried again by the next call. Errors: InstallationError; std::bad_alloc.
  static const std::string& NameIn(Session& session) {
    static std::mutex mutex;
    static bool registered = false;
    static const auto& name = *new std::string("objects-" + std::to_string(FunctionBody::Module()));
    const std::lock_guard<std::mutex> lock(mutex);
    if (!registered) {
      Register(session, name);
      registered = true;
    }
    return name;
  }

  /// Handles one message of Java: a call of a function, or a note that proxies were collected.
  /// Appends the answer to `out`. A function that throws makes an answer; it is no error here.
  /// Errors: ProtocolError for a malformed message; std::bad_alloc.
  static void Answer(std::span<const std::uint8_t> payload, Buffer& out) {
    Reader request(payload);
    const auto what = request.TakeNumber<std::uint8_t>();
    switch (what) {
      case kFunctionCall:
        AnswerCall(request, out);
        return;
      case kFunctionsDropped:
        for (std::size_t left = request.TakeCount(sizeof(std::uint64_t)); left != 0; --left) {
          const auto id = request.TakeNumber<std::uint64_t>();
          FunctionTable::Instance().GiveBack(id, request.TakeNumber<std::uint32_t>());
        }
        return;
      default:
        request.Fail("asks for the unknown service " + std::to_string(what));
    }
  }

 private:
  // The library of the session is known to be usable, so the C++ member is taken from its
  // directory.
  static void Register(Session& session, const std::string& name) {
    const bool isOpen = !Host::detail::LoadedLibrary(Host::kCppLibrary).empty();
    const ferrolink_registrar* table =
        Cpp::detail::OpenRegistrar(isOpen ? std::filesystem::path() : session.Installation());
    KeepThisCodeMapped();
    const ferrolink_handler handler{Receive, nullptr, nullptr};
    if (table->register_handler(name.data(), name.size(), &handler) != FERROLINK_OK) {
      throw std::bad_alloc();
    }
  }

  // The call function of the C interface. If the thread is cancelled or calls pthread_exit inside
  // it, its unwinding continues. The C++ runtime then binds the reference of the catch clause to
  // null, which the undefined-behaviour sanitizer would report.
  __attribute__((no_sanitize("null"))) static std::int32_t Receive(void* /*context*/,
                                                                   const std::uint8_t* payload,
                                                                   std::size_t length,
                                                                   ferrolink_reply* reply) {
    try {
      BufferLease out;
      Answer({payload, length}, *out);
      return reply->append(reply, out->Data(), out->Size());
    }
#if defined(__GLIBCXX__)
    catch (const abi::__forced_unwind&) {
      throw;
    }
#endif
    catch (...) {
      const std::string text = Cpp::detail::DescribeCurrentException();
      reply->fail(reply, text.data(), text.size());
      return FERROLINK_HANDLER_FAILED;
    }
  }

  // Calls one function. Its failure replaces the result in `out`. Unwinding of the thread
  // continues, as in Receive.
  __attribute__((no_sanitize("null"))) static void AnswerCall(Reader& request, Buffer& out) {
    const ScopeBreak noScope;
    const auto id = request.TakeNumber<std::uint64_t>();
    const std::string_view method = request.TakeText();
    const std::size_t count = request.TakeNumber<std::uint8_t>();
    const FunctionTable::Found found = FunctionTable::Instance().Find(id);
    Reader arguments(request.TakeBytes(request.Left()), found.session);
    try {
      Callable* function = found.body == nullptr ? nullptr : found.body->Find(method);
      if (function == nullptr) {
        DropHandles(arguments, count);
        throw ArgumentMismatch("The C++ function for " + std::string(method) +
                               (found.body == nullptr
                                    ? " was freed: Java had no object of it any more."
                                    : " is missing: the implementation has none of that name."));
      }
      out.AppendNumber(Status::Done);
      Writer result(out, Handing::Given);
      function->Call(arguments, count, result);
    }
#if defined(__GLIBCXX__)
    catch (const abi::__forced_unwind&) {
      throw;
    }
#endif
    catch (const JavaException& thrown) {
      AnswerFailure(out, thrown.what(), HandleFor(thrown));
    } catch (const ArgumentMismatch& error) {
      AnswerFailure(out, error.what(), 0);
    } catch (...) {
      AnswerFailure(out, Cpp::detail::DescribeCurrentException(), 0);
    }
  }

  // Discards what was written so far. `throwable` is the number of a handle that Java releases, or
  // 0.
  static void AnswerFailure(Buffer& out, std::string_view text, std::uint64_t throwable) {
    out.Clear();
    out.AppendNumber(Status::Thrown);
    out.AppendText(text);
    out.AppendNumber(throwable);
  }

  // A new handle of the throwable, which Java throws again. 0 if there is none any more; Java then
  // throws an exception with the text.
  static std::uint64_t HandleFor(const JavaException& thrown) {
    try {
      return thrown.Throwable().IsNull() ? 0 : DuplicateHandle(thrown.Throwable());
    } catch (const std::exception&) {
      return 0;
    }
  }
};

}  // namespace Ferrolink::Objects::detail

#endif
