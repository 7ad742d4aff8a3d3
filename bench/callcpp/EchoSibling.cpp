// A minimal library of another runtime. Its receiver keeps the last command of each thread and
// answers with it. It stands in for the Go runtime, which the benchmark's installation does not
// have. In a round trip it passes the command on to Java.
#include "bench/callcpp/EchoSibling.h"

#include <dlfcn.h>

#include <array>
#include <cstring>
#include <string>

#include "native/Export.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace {

using namespace Ferrolink::Bench;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::ITransmitter;

constexpr std::size_t kLongest = std::size_t{1} << 20U;

struct Waiting {
  int length = 0;
  std::array<std::uint8_t, kLongest> bytes{};
};
thread_local Waiting waiting;

IReceiver* handWritten = nullptr;

// The receiver of the Java member, whose library is in the same directory and already open.
IReceiver* JavaMember() {
  Dl_info info{};
  dladdr(reinterpret_cast<void*>(&JavaMember), &info);
  const std::string file = info.dli_fname;
  const std::string member = file.substr(0, file.rfind('/')) + "/libFerrolinkJvmRuntimeNative.so";
  void* library = dlopen(member.c_str(), RTLD_NOW | RTLD_NOLOAD);
  using CreateReceiver = IReceiver*(RuntimeOperationMode);
  auto* create = reinterpret_cast<CreateReceiver*>(dlsym(library, "CreateReceiver"));
  return create(RuntimeOperationMode::CallingRuntime);
}

class EchoReceiver final : public IReceiver {
 public:
  int SendCommand(std::uint8_t* message, int length) override {
    Waiting& mine = waiting;
    switch (message[kRouteOffset]) {
      case kThroughLibrary: {
        static IReceiver* const library = JavaMember();
        return PassOn(*library, message, length);
      }
      case kThroughHandWritten:
        return PassOn(*handWritten, message, length);
      default:
        std::memcpy(mine.bytes.data(), message, static_cast<std::size_t>(length));
        mine.length = length;
        return length;
    }
  }
  int ReadResponse(std::uint8_t* buffer, int length) override {
    std::memcpy(buffer, waiting.bytes.data(), static_cast<std::size_t>(length));
    return 0;
  }

  int SetConfigSource(std::string) override { return 0; }
  int Initialize(std::uint8_t, std::uint8_t, std::uint8_t) override { return 0; }
  void LogException(std::uint8_t*, int) override {}
  int LoadOptimizedMethod(std::string) override { return 0; }
  int SetEmbeddedRuntime(std::uint8_t, std::string) override { return 0; }
  int DeployRuntime(std::uint8_t*, int, std::string, std::uint8_t) override { return 0; }

 private:
  static int PassOn(IReceiver& java, std::uint8_t* message, int length) {
    Waiting& mine = waiting;
    mine.length = java.SendCommand(message, length);
    java.ReadResponse(mine.bytes.data(), mine.length);
    return mine.length;
  }
};

}  // namespace

extern "C" FERROLINK_EXPORT IReceiver* CreateReceiver(RuntimeOperationMode /*mode*/) {
  // Not deleted before the process ends.
  static IReceiver* const receiver = new EchoReceiver;
  return receiver;
}

extern "C" FERROLINK_EXPORT ITransmitter* CreateTransmitter(RuntimeOperationMode /*mode*/) {
  return nullptr;
}

extern "C" FERROLINK_EXPORT void BenchSetHandWritten(IReceiver* receiver) {
  handWritten = receiver;
}
