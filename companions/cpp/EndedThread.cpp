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

bool jvmKnowsThisThread() {
  Host::detail::JavaVm* vm = Host::detail::findJvmLibrary().vm;
  return vm != nullptr && vm->knowsThisThread();
}

// The JVM can be asked; of other runtimes the header is all there is. A header that only claims to
// be Java's, as a server's or a test's may, leaves no frames of Java.
bool isFromAnotherRuntime(Command command) {
  if (command[Header::kChannelType] != kInMemory) {
    return false;
  }
  switch (static_cast<Runtime>(callerOf(command))) {
    case Runtime::Cpp:
      return false;
    case Runtime::Jvm:
      return jvmKnowsThisThread();
    default:
      return true;
  }
}

std::string whatRan(Command command) {
  return command[Header::kCommandType] == Header::kTypeLoadLibrary
             ? "plug-in library '" + libraryPathOf(command) + "'"
             : "C++ function '" + std::string(handlerCallOf(command).name) + "'";
}

std::string nameOf(std::uint8_t runtime) {
  return runtime == static_cast<std::uint8_t>(Runtime::Jvm)
             ? "Java"
             : RuntimeNameHandler::GetRuntimeName(runtime);
}

}  // namespace

void requireThreadOfCpp(Command command) {
  if (!isFromAnotherRuntime(command)) {
    return;
  }
  const std::string caller = nameOf(callerOf(command));
  Ferrolink::Native::Console::printError(
      "Ferrolink: the " + whatRan(command) + ", which " + caller +
      " called, or a function that it called, ended the thread (pthread_exit or cancellation). " +
      caller +
      " cannot go on without its frames on that thread, so the process ends here. Return from the "
      "function or throw an exception instead.\n");
  std::abort();
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
