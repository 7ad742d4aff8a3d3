#ifndef FERROLINK_BENCH_HARNESS_JAVAHOST_H
#define FERROLINK_BENCH_HARNESS_JAVAHOST_H

#include <jni.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "native/interfaces/IReceiver.h"

namespace Ferrolink::Bench {

using Ferrolink::Native::Interfaces::IReceiver;
using Bytes = std::vector<std::uint8_t>;

/// Calls Java through the library, with the exported function and the virtual slots only. Nothing
/// of the library is linked or inlined.
class JavaHost {
 public:
  /// Opens the library of the installation at `home` and starts the JVM with a first command, on
  /// the calling thread. Unless the environment says otherwise, the JVM is that of the build, with
  /// a fixed heap that is touched at the start. `handler` selects the archive of the installation
  /// instead of the bench's receiver.
  explicit JavaHost(const std::string& home, bool handler = false);

  [[nodiscard]] bool Handler() const { return m_handler; }
  [[nodiscard]] IReceiver* Receiver() const { return m_receiver; }
  /// The JVM that the library started, for hand-written JNI in the same process.
  [[nodiscard]] JavaVM* Vm() const { return m_vm; }

 private:
  const bool m_handler;
  IReceiver* m_receiver;
  JavaVM* m_vm;
};

/// A command for the bench's receiver, which answers with the same bytes.
Bytes EchoCommand(std::size_t size, bool clone);

/// A command of that size for the archive's handler "echo", which answers with its payload.
Bytes HandlerCommand(std::size_t size);

/// Keeps the thread attached while it lives.
class Attached {
 public:
  explicit Attached(JavaVM* vm);
  Attached(const Attached&) = delete;
  Attached& operator=(const Attached&) = delete;
  ~Attached() { m_vm->DetachCurrentThread(); }

  [[nodiscard]] JNIEnv* Env() const { return m_env; }

 private:
  JavaVM* m_vm;
  JNIEnv* m_env = nullptr;
};

/// The JVM of this process, which the library has started.
JavaVM* CreatedVm();

/// Sets the variables of the library and the JVM that are not set already.
void SetDefaultEnvironment();

}  // namespace Ferrolink::Bench

#endif
