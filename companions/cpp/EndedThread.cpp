#include "companions/cpp/EndedThread.h"

#include <cstdlib>
#include <string>

#include "ferrolink/detail/JvmLibrary.h"
#include "native/Console.h"
#include "native/RuntimeNameHandler.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Runtimes::Cpp::Native {
namespace {

namespace Header = Ferrolink::Native::Definitions::CommandHeader;
using Ferrolink::Native::Definitions::Runtime;
using Ferrolink::Native::RuntimeNameHandler::RuntimeNameHandler;

constexpr std::uint8_t kInMemory = 0;

bool JvmKnowsThisThread() {
  Host::detail::JavaVm* vm = Host::detail::FindJvmLibrary().vm;
  return vm != nullptr && vm->KnowsThisThread();
}

// The JVM can be asked; of other runtimes the header is all there is. A header that only claims to
// be Java's, as a server's or a test's may, leaves no frames of Java.
bool IsFromAnotherRuntime(Command command) {
  if (command[Header::kChannelType] != kInMemory) {
    return false;
  }
  switch (static_cast<Runtime>(CallerOf(command))) {
    case Runtime::Cpp:
      return false;
    case Runtime::Jvm:
      return JvmKnowsThisThread();
    default:
      return true;
  }
}

std::string WhatRan(Command command) {
  return command[Header::kCommandType] == Header::kTypeLoadLibrary
             ? "plug-in library '" + LibraryPathOf(command) + "'"
             : "C++ function '" + std::string(HandlerCallOf(command).name) + "'";
}

std::string NameOf(std::uint8_t runtime) {
  return runtime == static_cast<std::uint8_t>(Runtime::Jvm)
             ? "Java"
             : RuntimeNameHandler::GetRuntimeName(runtime);
}

}  // namespace

void RequireThreadOfCpp(Command command) {
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
