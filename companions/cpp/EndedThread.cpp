#include "companions/cpp/EndedThread.h"

#include <cstdint>
#include <cstdlib>
#include <string>

#include "ferrolink/ThreadAttachment.h"
#include "ferrolink/protocol/CommandParts.h"
#include "native/Console.h"
#include "native/RuntimeNameHandler.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Runtimes::Cpp::Native {
namespace {

namespace Header = Protocol::Header;
using Ferrolink::Native::Definitions::Runtime;
using Ferrolink::Native::RuntimeNameHandler::RuntimeNameHandler;
using Protocol::ByteView;
using Protocol::CallerOf;

// For Java, the JVM tells whether it knows the thread. For other runtimes only the header counts. A
// header may name Java although no frame of Java is on the stack, for example in a server.
bool IsFromAnotherRuntime(ByteView command) {
  if (command[Header::kChannelType] != Header::kChannelInMemory) {
    return false;
  }
  switch (static_cast<Runtime>(CallerOf(command))) {
    case Runtime::Cpp:
      return false;
    case Runtime::Jvm:
      return Host::JvmKnowsThisThread();
    default:
      return true;
  }
}

std::string WhatRan(ByteView command) {
  return Protocol::TypeOf(command) == Header::kTypeLoadLibrary
             ? "plug-in library '" + Protocol::LibraryPathOf(command) + "'"
             : "C++ function '" + std::string(Protocol::CallOf(command).name) + "'";
}

std::string NameOf(std::uint8_t runtime) {
  return runtime == static_cast<std::uint8_t>(Runtime::Jvm)
             ? "Java"
             : RuntimeNameHandler::GetRuntimeName(runtime);
}

}  // namespace

void RequireThreadOfCpp(ByteView command) {
  if (!IsFromAnotherRuntime(command)) {
    return;
  }
  const std::string caller = NameOf(CallerOf(command));
  Ferrolink::Native::Console::PrintError(
      "Ferrolink: the " + WhatRan(command) + ", which " + caller +
      " called, or a function that it called, ended the thread (pthread_exit or cancellation). " +
      caller +
      " cannot go on without its frames on that thread, so the process ends here. Return from the "
      "function or throw an exception instead.\n");
  std::abort();
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
