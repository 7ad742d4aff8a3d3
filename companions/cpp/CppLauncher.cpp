#include "companions/cpp/CppLauncher.h"

#include <cxxabi.h>

#include <cstddef>
#include <string>
#include <utility>

#include "companions/cpp/EndedThread.h"
#include "companions/cpp/HandlerRegistry.h"
#include "companions/cpp/PlugInLibraries.h"
#include "companions/cpp/Replies.h"
#include "companions/cpp/ReplyBuilder.h"
#include "ferrolink/detail/ExceptionText.h"
#include "ferrolink/protocol/Bytes.h"
#include "ferrolink/protocol/CommandParts.h"
#include "ferrolink/protocol/Replies.h"
#include "native/FerrolinkNativeException.h"

namespace Ferrolink::Runtimes::Cpp::Native::Launcher {
namespace {

using Ferrolink::Native::ThreadResponses;
using Protocol::Bytes;
using Protocol::ByteView;
using Protocol::CallerOf;
using Protocol::CommandRejected;

ByteView RequireHeader(const std::uint8_t* message, int length) {
  if (message == nullptr) {
    throw CommandRejected("Malformed command: null instead of bytes.");
  }
  if (length < Protocol::Header::kSize) {
    throw CommandRejected("Malformed command: " + std::to_string(length) +
                          " bytes, shorter than the header of " +
                          std::to_string(Protocol::Header::kSize) + " bytes.");
  }
  return {message, static_cast<std::size_t>(length)};
}

// Releases the handler before the reply is stored: the release may send commands, whose responses
// this reply must replace.
Bytes CallHandler(ByteView command, ThreadResponses& responses) {
  const Protocol::HandlerCall call = Protocol::CallOf(command);
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

Bytes Answer(ByteView command, ThreadResponses& responses) {
  switch (Protocol::TypeOf(command)) {
    case Protocol::Header::kTypeCallHandler:
    case Protocol::Header::kTypeCallWithin:
      return CallHandler(command, responses);
    case Protocol::Header::kTypeHeartBeat:
      return Protocol::HeartBeatAnswer(command, kThisRuntime);
    case Protocol::Header::kTypeLoadLibrary:
      PlugInLibraries::Instance().Load(Protocol::LibraryPathOf(command));
      return Protocol::LibraryLoadedAnswer(kThisRuntime);
    default:
      throw CommandRejected("Unknown command type " + std::to_string(Protocol::TypeOf(command)) +
                            ". Known types: 1 (load a library), 2 (call a handler), 3 (call a "
                            "handler within a time), 11 (heartbeat).");
  }
}

// Turns every failure into an answer, except the end of the thread, which cannot be stopped. That
// ends the process if the frames of another runtime would be lost. The reference of the catch
// clause is then bound to null, which the undefined-behaviour sanitizer would report.
__attribute__((no_sanitize("null"))) Bytes AnswerAnything(const std::uint8_t* message, int length,
                                                          ThreadResponses& responses) {
  std::uint8_t caller = 0;
  try {
    const ByteView command = RequireHeader(message, length);
    caller = CallerOf(command);
    return Answer(command, responses);
  } catch (const abi::__forced_unwind&) {
    RequireThreadOfCpp({message, static_cast<std::size_t>(length)});
    throw;
  } catch (const CommandRejected& rejected) {
    return ReportTo(caller, rejected.what());
  } catch (...) {
    return ReportTo(caller, Ferrolink::Cpp::detail::DescribeCurrentException());
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
    Bytes reply = AnswerAnything(message, length, m_responses);
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
