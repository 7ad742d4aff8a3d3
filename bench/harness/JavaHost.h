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

/// A C++ program's way to Java through the library: the exported function and the virtual slots
/// alone. Nothing of it is linked or inlined.
class JavaHost {
 public:
  /// Opens the library of the installation at `home` and starts the JVM with a first command, on
  /// the calling thread. Where the environment does not say otherwise, the JVM is that of the build
  /// with a fixed heap that has been touched before.
  /// `handler`: its archive is the installation's, not the bench's.
  explicit JavaHost(const std::string& home, bool handler = false);

  [[nodiscard]] bool Handler() const { return m_handler; }
  [[nodiscard]] IReceiver* Receiver() const { return m_receiver; }
  /// The JVM that the library has started, for hand-written JNI in the same process.
  [[nodiscard]] JavaVM* Vm() const { return m_vm; }

 private:
  const bool m_handler;
  IReceiver* m_receiver;
  JavaVM* m_vm;
};

/// A command for the bench's receiver, which answers with the same bytes.
Bytes EchoCommand(std::size_t size, bool clone);

/// A command of that size for the archive's own handler "echo", which answers with its payload.
Bytes HandlerCommand(std::size_t size);

/// A thread that the host attaches, for as long as this object lives.
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

/// Sets what the library and the JVM read, unless it is set already.
void SetDefaultEnvironment();

}  // namespace Ferrolink::Bench

#endif
