// Calls functions of its own, of a plug-in library and of Java: cpp_consumer PLUG_IN TEXT
#include <ferrolink/Caller.h>
#include <ferrolink/CppRuntime.h>
#include <cctype>
#include <cstdio>
#include <exception>

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::Runtime;

int main(int argc, char** argv) {
  try {
    Ferrolink::Cpp::Register("upper", [](std::span<const std::uint8_t> bytes) {
      Bytes reply;
      for (const std::uint8_t byte : bytes) {
        reply.push_back(static_cast<std::uint8_t>(std::toupper(byte)));
      }
      return reply;
    });
    const Ferrolink::Cpp::Caller caller;
    caller.LoadLibrary(Runtime::Cpp, argv[1]);
    caller.Heartbeat(Runtime::Jvm);  // the library prints what JVM it started
    const auto print = [&](const char* whose, Runtime runtime, const char* handler) {
      const Bytes reply = caller.Call(runtime, handler, argc > 2 ? argv[2] : "");
      std::printf("%s: %s\n", whose, Ferrolink::Cpp::ToText(reply).c_str());
    };
    print("of the program", Runtime::Cpp, "upper");
    print("of a plug-in", Runtime::Cpp, "reverse");
    print("of Java", Runtime::Jvm, "echo");
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
