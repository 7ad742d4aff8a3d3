// Feeds bodies of load-library commands to the JVM member's launcher and the C++ member.
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "ferrolink/protocol/CommandParts.h"
#include "jvm/JvmLauncher.h"
#include "tests/fuzz/Fuzzing.h"

using namespace Ferrolink::Fuzz;
namespace Protocol = Ferrolink::Protocol;
namespace Header = Protocol::Header;

namespace {

constexpr std::size_t kPath = Header::kLibraryPath;
const std::string kError = "JVM Launcher: Exception code ";

// The path as both members must read it.
std::string PathIn(const Bytes& command) {
  const std::string text = TextOf(command).substr(kPath);
  return text.substr(0, text.find('\0'));
}

bool IsNamed(const std::string& error, const std::string& beginning) {
  return error.starts_with(kError + beginning);
}

// The error of the launcher; empty if it gave the right answer.
std::string ErrorOf(JvmLauncher& launcher, Bytes command) {
  const Bytes before = command;
  try {
    const int length = launcher.SendCommand(command.data(), static_cast<int>(command.size()));
    Bytes answer(static_cast<std::size_t>(length));
    launcher.ReadResponse(answer.data(), length);
    Require(answer == Bytes{2, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2, 4, 0, 0, 0, 0},
            "a command that is taken is answered with the one answer");
    Require(command == before, "a command stays as it is");
    return {};
  } catch (const std::filesystem::filesystem_error&) {
    Require(command == before, "a command stays as it is");
    return "file system";
  } catch (const FerrolinkNativeException& error) {
    return error.what();
  }
}

void RunJvmMember(const Bytes& command) {
  JvmLauncher launcher(Ferrolink::Native::Definitions::RuntimeOperationMode::CalledRuntime);
  const std::string error = ErrorOf(launcher, command);
  if (command.size() < Header::kSize) {
    Require(IsNamed(error, "018"), "a command without a type needs a JVM");
    return;
  }
  if (command.size() <= kPath) {
    Require(IsNamed(error, "004. \nLoadLibrary message too short\n"), "a short command is refused");
    return;
  }
  Require(error.empty() || error == "file system" ||
              IsNamed(error, "004. \nCannot find file: " + PathIn(command) + "\n"),
          "a path is added, missing, or cannot be looked at");
  const std::string libraries = launcher.GetRuntimeInfo();
  Require(!error.empty() || ErrorOf(launcher, command).empty(), "what was added can be sent again");
  Require(libraries == launcher.GetRuntimeInfo(), "the same path is listed once");
}

void RunCppMember(const Bytes& command) {
  if (command.size() < Header::kSize) {
    return;  // no command to this parser
  }
  try {
    const std::string path = Protocol::LibraryPathOf(command);
    Require(command.size() > kPath && path == PathIn(command) && !path.empty(),
            "the path is that of the command");
  } catch (const Protocol::CommandRejected&) {
    Require(command.size() <= kPath || PathIn(command).empty(), "a path that is there is taken");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  setenv("FERROLINK_LOGGING_LEVEL", "off", 1);
  unsetenv("FERROLINK_DEBUG_MODE");
  return 0;
}

// An input is a command. Its type is set to "load a library", and its path is confined to the jail.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes command(data, data + size);
  if (command.size() >= Header::kSize) {
    command[Header::kCommandType] = Header::kTypeLoadLibrary;
  }
  if (command.size() > kPath) {
    const std::string text = TextOf(command);
    command = BytesOf(text.substr(0, kPath) + Confined(text.substr(kPath)));
  }
  const InJail jailed;
  RunCppMember(command);
  RunJvmMember(command);
  return 0;
}
