// Calls for callgrind (count.py): commands of 64 bytes and their answers on an attached thread. A
// fake stands in for the JVM, so the count is the same every time.
//
//     usage: ferrolink-bench-instructions LIBRARY JVM-LIBRARY CALLS
#include <dlfcn.h>
#include <jni.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::IReceiver;

namespace {

using Command = std::array<std::uint8_t, 64>;

Command EchoCommand() {
  Command bytes{};
  bytes[0] = 2;
  bytes[9] = 8;
  bytes[10] = 2;
  return bytes;
}

template <class Function>
Function* Find(const char* path, const char* name) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  auto* function = library != nullptr ? reinterpret_cast<Function*>(dlsym(library, name)) : nullptr;
  if (function == nullptr) {
    std::fprintf(stderr, "%s: no %s\n", path, name);
    std::exit(1);
  }
  return function;
}

}  // namespace

// count.py finds it by its name in callgrind's output, and counts its callees.
extern "C" __attribute__((noinline)) void BenchMeasuredCalls(IReceiver* receiver,
                                                             std::uint8_t* message,
                                                             std::uint8_t* answer, long calls) {
  for (long i = 0; i < calls; ++i) {
    const int length = receiver->SendCommand(message, static_cast<int>(Command{}.size()));
    receiver->ReadResponse(answer, length);
  }
}

int main(int count, char** values) {
  if (count != 4) {
    return 2;
  }
  setenv("FERROLINK_JVM_RUNTIME_PATH", values[2], 1);
  setenv("FERROLINK_LOGGING_LEVEL", "off", 1);
  const long calls = std::atol(values[3]);
  using CreateReceiver = IReceiver*(RuntimeOperationMode);
  IReceiver* receiver =
      Find<CreateReceiver>(values[1], "CreateReceiver")(RuntimeOperationMode::CalledRuntime);
  receiver->Initialize(8, 2, 0);
  const auto warmUp = [receiver] {
    Command message = EchoCommand();
    Command answer{};
    for (int i = 0; i < 10; ++i) {
      receiver->ReadResponse(answer.data(), receiver->SendCommand(message.data(), 64));
    }
    if (answer != message) {
      std::exit(1);
    }
  };
  warmUp();
  JavaVM* vm = nullptr;
  jsize created = 0;
  using GetCreated = jint(JavaVM**, jsize, jsize*);
  Find<GetCreated>(values[2], "JNI_GetCreatedJavaVMs")(&vm, 1, &created);
  std::thread([&] {
    JNIEnv* env = nullptr;
    vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    warmUp();
    Command message = EchoCommand();
    Command answer{};
    BenchMeasuredCalls(receiver, message.data(), answer.data(), calls);
    vm->DetachCurrentThread();
  }).join();
  // Skips the library's destructors: the fake would wait for its JVM to be destroyed.
  std::_Exit(0);
}
