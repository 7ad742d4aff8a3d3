// The bodies of load-library commands, as the JVM member's launcher and the C++ member read them.
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "companions/cpp/CommandFrame.h"
#include "jvm/JvmLauncher.h"
#include "native/interfaces/CommandHeader.h"
#include "tests/fuzz/Fuzzing.h"

using namespace FerrolinkFuzz;
namespace Header = Ferrolink::Native::Definitions::CommandHeader;
namespace Cpp = Ferrolink::Runtimes::Cpp::Native;

namespace {

constexpr std::size_t kPath = 24;
const std::string kError = "JVM Launcher: Exception code ";

// The path as both members should see it.
std::string pathIn(const Bytes& command) {
  const std::string text = textOf(command).substr(kPath);
  return text.substr(0, text.find('\0'));
}

bool isNamed(const std::string& error, const std::string& beginning) {
  return error.starts_with(kError + beginning);
}

// What the launcher raises; empty where it has answered as it must.
std::string errorOf(JvmLauncher& launcher, Bytes command) {
  const Bytes before = command;
  try {
    const int length = launcher.SendCommand(command.data(), static_cast<int>(command.size()));
    Bytes answer(static_cast<std::size_t>(length));
    launcher.ReadResponse(answer.data(), length);
    require(answer == Bytes{2, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2, 4, 0, 0, 0, 0},
            "a command that is taken is answered with the one answer");
    require(command == before, "a command stays as it is");
    return {};
  } catch (const std::filesystem::filesystem_error&) {
    require(command == before, "a command stays as it is");
    return "file system";
  } catch (const FerrolinkNativeException& error) {
    return error.what();
  }
}

void runJvmMember(const Bytes& command) {
  JvmLauncher launcher(Ferrolink::Native::Definitions::RuntimeOperationMode::CalledRuntime);
  const std::string error = errorOf(launcher, command);
  if (command.size() < Header::kSize) {
    require(isNamed(error, "018"), "a command without a type needs a JVM");
    return;
  }
  if (command.size() <= kPath) {
    require(isNamed(error, "004. \nLoadLibrary message too short\n"), "a short command is refused");
    return;
  }
  require(error.empty() || error == "file system" ||
              isNamed(error, "004. \nCannot find file: " + pathIn(command) + "\n"),
          "a path is added, missing, or cannot be looked at");
  const std::string libraries = launcher.GetRuntimeInfo();
  require(!error.empty() || errorOf(launcher, command).empty(), "what was added can be sent again");
  require(libraries == launcher.GetRuntimeInfo(), "the same path is listed once");
}

void runCppMember(const Bytes& command) {
  if (command.size() < Header::kSize) {
    return;  // no command to this parser
  }
  try {
    const std::string path = Cpp::libraryPathOf(command);
    require(command.size() > kPath && path == pathIn(command) && !path.empty(),
            "the path is that of the command");
  } catch (const Cpp::CommandRejected&) {
    require(command.size() <= kPath || pathIn(command).empty(), "a path that is there is taken");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  setenv("FERROLINK_LOGGING_LEVEL", "off", 1);
  unsetenv("FERROLINK_DEBUG_MODE");
  return 0;
}

// An input is a command, whose type is set to "load a library" and whose path lies in the jail.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes command(data, data + size);
  if (command.size() >= Header::kSize) {
    command[Header::kCommandType] = Header::kTypeLoadLibrary;
  }
  if (command.size() > kPath) {
    const std::string text = textOf(command);
    command = bytesOf(text.substr(0, kPath) + confined(text.substr(kPath)));
  }
  const InJail jailed;
  runCppMember(command);
  runJvmMember(command);
  return 0;
}
