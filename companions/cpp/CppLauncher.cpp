#include "companions/cpp/CppLauncher.h"

#include <cxxabi.h>

#include <cstddef>
#include <utility>

#include "companions/cpp/EndedThread.h"
#include "companions/cpp/HandlerRegistry.h"
#include "companions/cpp/PlugInLibraries.h"
#include "companions/cpp/ReplyBuilder.h"
#include "companions/cpp/ferrolink/detail/ExceptionText.h"
#include "native/FerrolinkNativeException.h"
#include "native/interfaces/CommandHeader.h"

namespace Ferrolink::Runtimes::Cpp::Native::Launcher {
namespace {

namespace Header = Ferrolink::Native::Definitions::CommandHeader;

using Ferrolink::Native::ThreadResponses;

Command RequireHeader(const std::uint8_t* message, int length) {
  if (message == nullptr) {
    throw CommandRejected("Malformed command: null instead of bytes.");
  }
  if (length < Header::kSize) {
    throw CommandRejected("Malformed command: " + std::to_string(length) +
                          " bytes, shorter than the header of " + std::to_string(Header::kSize) +
                          " bytes.");
  }
  return {message, static_cast<std::size_t>(length)};
}

// The handler is let go before the reply is handed on: what it releases may send commands too,
// whose responses this one replaces.
Reply CallHandler(Command command, ThreadResponses& responses) {
  const HandlerCall call = HandlerCallOf(command);
  HandlerRegistry& registry = HandlerRegistry::Instance();
  const HandlerRegistry::Handler handler = registry.Find(call.name);
  if (handler == nullptr) {
    throw CommandRejected("Unknown handler '" + std::string(call.name) +
                          "'. Known handlers: " + registry.Names() + ".");
  }
  ReplyBuilder reply(CallerOf(command), responses.Room());
  const std::int32_t result = handler->Call(call.payload.data(), call.payload.size(), &reply);
  return reply.Finish(call.name, result);
}

Reply Answer(Command command, ThreadResponses& responses) {
  switch (command[Header::kCommandType]) {
    case kTypeCallHandler:
    case kTypeCallWithin:
      return CallHandler(command, responses);
    case Header::kTypeHeartBeat:
      return HeartBeatReply(command);
    case Header::kTypeLoadLibrary:
      PlugInLibraries::Instance().Load(LibraryPathOf(command));
      return LibraryLoadedReply();
    default:
      throw CommandRejected("Unknown command type " +
                            std::to_string(command[Header::kCommandType]) +
                            ". Known types: 1 (load a library), 2 (call a handler), 3 (call a "
                            "handler within a time), 11 (heartbeat).");
  }
}

// Whatever fails is an answer, but for the end of the thread, which cannot be stopped: it ends the
// process instead where another runtime would be left with dead frames. The reference that catches
// it is bound to nothing, which the undefined-behaviour sanitizer would report.
__attribute__((no_sanitize("null"))) Reply AnswerAnything(const std::uint8_t* message, int length,
                                                          ThreadResponses& responses) {
  std::uint8_t caller = 0;
  try {
    const Command command = RequireHeader(message, length);
    caller = CallerOf(command);
    return Answer(command, responses);
  } catch (const abi::__forced_unwind&) {
    RequireThreadOfCpp({message, static_cast<std::size_t>(length)});
    throw;
  } catch (const CommandRejected& rejected) {
    return ExceptionReply(caller, rejected.what());
  } catch (...) {
    return ExceptionReply(caller, Ferrolink::Cpp::detail::DescribeCurrentException());
  }
}

}  // namespace

CppLauncher::CppLauncher(Ferrolink::Native::Definitions::RuntimeOperationMode mode)
    : NativeLauncher(mode) {}

CppLauncher::~CppLauncher() = default;

int CppLauncher::Initialize(std::uint8_t /*launchArgument*/) {
  return 0;
}

__attribute__((no_sanitize("null"))) int CppLauncher::SendCommand(std::uint8_t* message,
                                                                  int length) {
  try {
    Reply reply = AnswerAnything(message, length, m_responses);
    const int replyLength = static_cast<int>(reply.size());
    m_responses.Store(std::move(reply));
    return replyLength;
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    m_responses.Forget();
    return 0;
  }
}

int CppLauncher::ReadResponse(std::uint8_t* buffer, int length) {
  if (!m_responses.Read(buffer, length)) {
    throw FerrolinkNativeException(
        "Cpp Launcher: Exception code 017.\nError while reading response", "Unknown");
  }
  return 0;
}

int CppLauncher::LoadOptimizedMethod(std::string /*name*/) {
  return 1;
}

int CppLauncher::SetPath(std::uint8_t /*runtime*/, std::string /*path*/) {
  return 1;
}

int CppLauncher::DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                               std::uint8_t /*flag*/) {
  return 1;
}

std::string CppLauncher::GetRuntimeName() {
  return "Cpp";
}

std::string CppLauncher::GetRuntimeInfo() {
  const std::string plugIns = PlugInLibraries::Instance().Paths();
  return (plugIns.empty() ? "" : "Loaded plug-in libraries:\n" + plugIns) +
         "\nCpp Native Launcher Runtime Info: \nHandlers: " + HandlerRegistry::Instance().Names();
}

}  // namespace Ferrolink::Runtimes::Cpp::Native::Launcher
