#include "bench/harness/JavaHost.h"

#include <dlfcn.h>
#include <ferrolink/Library.h>
#include <ferrolink/ThreadAttachment.h>
#include <ferrolink/protocol/Commands.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace Ferrolink::Bench {
namespace {

namespace Header = Protocol::Header;
using Protocol::Runtime;

constexpr std::size_t kHandlerHead = Header::kSize + 5;  // the name's length, and "echo"

void SendFirstCommand(IReceiver& receiver, bool handler) {
  Bytes command = handler ? HandlerCommand(64) : EchoCommand(64, false);
  const int length = receiver.SendCommand(command.data(), static_cast<int>(command.size()));
  Bytes answer(static_cast<std::size_t>(length));
  receiver.ReadResponse(answer.data(), length);
  if (handler) {
    command.erase(command.begin(), command.begin() + kHandlerHead);
    answer.erase(answer.begin(), answer.begin() + Header::kSize);
  }
  if (answer != command) {
    throw std::runtime_error("the receiver does not echo");
  }
}

}  // namespace

JavaVM* CreatedVm() {
  void* library = dlopen(Ferrolink::Host::JvmLibraryPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
  using GetCreated = jint(JavaVM**, jsize, jsize*);
  auto* getCreated = reinterpret_cast<GetCreated*>(dlsym(library, "JNI_GetCreatedJavaVMs"));
  JavaVM* vm = nullptr;
  jsize count = 0;
  if (getCreated == nullptr || getCreated(&vm, 1, &count) != JNI_OK || count != 1) {
    throw std::runtime_error("no JVM was started");
  }
  return vm;
}

void SetDefaultEnvironment() {
  setenv("JAVA_HOME", BENCH_JAVA_HOME, 0);
  setenv("JAVA_TOOL_OPTIONS", "-Xms1g -Xmx1g -XX:+AlwaysPreTouch", 0);
  setenv("FERROLINK_LOGGING_LEVEL", "off", 0);
}

JavaHost::JavaHost(const std::string& home, bool handler) : m_handler(handler) {
  SetDefaultEnvironment();
  m_receiver = Ferrolink::Host::OpenReceiver(std::filesystem::path(home) /
                                             Ferrolink::Host::kNativeDirectory /
                                             Ferrolink::Host::kJvmLibrary);
  m_receiver->Initialize(static_cast<std::uint8_t>(Runtime::Cpp),
                         static_cast<std::uint8_t>(Runtime::Jvm), 0);
  SendFirstCommand(*m_receiver, handler);
  m_vm = CreatedVm();
}

Bytes EchoCommand(std::size_t size, bool clone) {
  Bytes command(size);
  for (std::size_t i = 0; i < size; ++i) {
    command[i] = static_cast<std::uint8_t>(i);
  }
  const Bytes header = Protocol::EmptyCommand({.target = Runtime::Jvm}, Header::kTypeCallHandler);
  std::copy(header.begin(), header.end(), command.begin());
  command.at(Header::kSize) = clone ? 1 : 0;
  return command;
}

Bytes HandlerCommand(std::size_t size) {
  const Bytes echoed = EchoCommand(size, false);
  return Protocol::CallCommand({.target = Runtime::Jvm}, "echo",
                               Protocol::ByteView(echoed).subspan(kHandlerHead));
}

Attached::Attached(JavaVM* vm) : m_vm(vm) {
  if (vm->AttachCurrentThread(reinterpret_cast<void**>(&m_env), nullptr) != JNI_OK) {
    throw std::runtime_error("the JVM refuses this thread");
  }
}

}  // namespace Ferrolink::Bench
