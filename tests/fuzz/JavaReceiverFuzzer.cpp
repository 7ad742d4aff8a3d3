// Feeds commands to the Java receiver in a real JVM, which the built library starts. Every reply
// must be well formed. The fuzzer cannot see what Java executes. Lines of the reply, without text
// from the input, serve as coverage.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "ferrolink/Exchange.h"
#include "ferrolink/Library.h"
#include "tests/fuzz/Fuzzing.h"

using namespace Ferrolink::Fuzz;
namespace Host = Ferrolink::Host;
namespace Header = Ferrolink::Native::Definitions::CommandHeader;

namespace {

constexpr std::uint8_t kJvm = 2;
constexpr std::size_t kLongestText = std::size_t{512} << 10U;

// libFuzzer treats this section as coverage, and clears it before each input.
__attribute__((section("__libfuzzer_extra_counters"))) std::uint8_t replyShapes[4096];

Ferrolink::Native::Interfaces::IReceiver* receiver = nullptr;

// The line up to the first quotation, without digits.
std::string ShapeOf(std::string_view line) {
  std::string shape(line.substr(0, line.find('\'')));
  std::erase_if(shape, [](unsigned char letter) { return std::isdigit(letter) != 0; });
  return shape;
}

void Note(const std::string& shape) {
  replyShapes[std::hash<std::string>()(shape) % sizeof replyShapes] = 1;
}

void NoteShape(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    Note(ShapeOf(text.substr(0, end)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

// Confines the path of archives to the jail. The library itself answers the type "load a library",
// so that type becomes a call.
Bytes ConfinedCommand(Bytes command) {
  constexpr std::string_view kLoad = "\x0Dload-archives";
  if (command.size() < Header::kSize) {
    return command;
  }
  if (command[Header::kCommandType] == Header::kTypeLoadLibrary) {
    command[Header::kCommandType] = Header::kTypeCallHandler;
  }
  const std::string text = TextOf(command);
  const bool within = command[Header::kCommandType] == Header::kTypeCallWithin;
  const std::size_t call = within ? Header::kNameLengthWithin : Header::kNameLength;
  const std::string body = text.substr(std::min(text.size(), call));
  if (!body.starts_with(kLoad)) {
    return command;
  }
  return BytesOf(text.substr(0, call) + std::string(kLoad) + Confined(body.substr(kLoad.size())));
}

// Text of the command may be part of the reply.
void ExpectExceptionReport(const std::string& command, const std::string& text) {
  Require(!text.empty() && text.size() <= kLongestText, "an exception report is a text of a size");
  for (const char* exhausted :
       {"OutOfMemoryError", "StackOverflowError", "had not enough memory"}) {
    Require(
        text.find(exhausted) == std::string::npos || command.find(exhausted) != std::string::npos,
        "Java's memory and stack suffice");
  }
  NoteShape(text);
}

void ExpectReply(const Bytes& command, const Bytes& reply) {
  Require(reply.size() >= Header::kSize, "a reply has a header");
  const bool complete = command.size() >= Header::kSize;
  const std::uint8_t type = reply[Header::kCommandType];
  Require(type == 0 || type == Header::kTypeExceptionReport, "a reply is of type 0 or 10");
  Require(reply[Header::kTargetRuntime] == (complete ? command[Header::kCallingRuntime] : 0),
          "a reply goes to the caller");
  Require(reply[Header::kCallingRuntime] == kJvm, "a reply comes from the JVM");
  const std::string body = TextOf(reply).substr(Header::kSize);
  if (type == Header::kTypeExceptionReport) {
    ExpectExceptionReport(TextOf(command), body);
    return;
  }
  Require(body.size() <= command.size() + 512,
          "a reply is as long as what it answers, or a digest");
  if (complete && command[Header::kCommandType] == Header::kTypeHeartBeat) {
    Require(body == TextOf(command).substr(Header::kSize), "a heartbeat comes back");
  }
  Note("reply of " + std::to_string(std::min<std::size_t>(body.size(), 100)));
}

Bytes Exchange(Bytes command) {
  const int length = receiver->SendCommand(command.data(), static_cast<int>(command.size()));
  Require(length >= 0, "a reply has a length");
  Bytes reply(static_cast<std::size_t>(length));
  receiver->ReadResponse(reply.data(), length);
  return reply;
}

void SetEnvironment() {
  setenv("JAVA_HOME", FUZZ_JAVA_HOME, 0);
  // The fuzzer keeps its signals, and memory is bounded.
  setenv("JAVA_TOOL_OPTIONS", "-Xrs -Xmx64m -XX:+UseSerialGC -XX:TieredStopAtLevel=1", 1);
  setenv("FERROLINK_LOGGING_LEVEL", "off", 1);
  unsetenv("FERROLINK_JVM_RUNTIME_PATH");
  unsetenv("FERROLINK_DEBUG_MODE");
}

// The JVM needs these signals, so the fuzzer must not handle them. The caller's flags come later
// and take precedence.
void AddFuzzerFlags(int* argc, char*** argv) {
  static std::vector<char*> arguments;
  static std::vector<std::string> flags = {"-handle_segv=0", "-handle_bus=0",  "-handle_fpe=0",
                                           "-handle_ill=0",  "-handle_usr1=0", "-handle_usr2=0",
                                           "-handle_xfsz=0", "-detect_leaks=0"};
  arguments.assign(*argv, *argv + *argc);
  for (std::string& flag : flags) {
    arguments.insert(arguments.begin() + 1, flag.data());
  }
  *argc = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  *argv = arguments.data();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  AddFuzzerFlags(argc, argv);
  SetEnvironment();
  const std::filesystem::path library = FERROLINKJVMRUNTIMENATIVE_PATH;
  receiver = Host::OpenReceiver(library);
  receiver->SetConfigSource(R"({"workingDirectory": ")" + JailDirectory().string() + R"("})");
  receiver->Initialize(8, kJvm, 0);
  Host::ExchangeHeartbeat(*receiver, Host::Runtime::Jvm, "Java");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes command = ConfinedCommand(Bytes(data, data + size));
  ExpectReply(command, Exchange(command));
  return 0;
}
