#ifndef FERROLINK_HOST_THREADATTACHMENT_H
#define FERROLINK_HOST_THREADATTACHMENT_H

#include <cstdint>
#include <string>

#include "ferrolink/Errors.h"
#include "ferrolink/detail/JvmLibrary.h"

namespace Ferrolink::Host {

/// The file of the JVM library in this process, whatever its name; of several copies the one that
/// has a JVM. Empty where none is loaded. Any thread.
inline std::string JvmLibraryPath() {
  return detail::FindJvmLibrary().file.string();
}

/// Keeps the calling thread attached to the JVM for as long as it lives.
///
/// A command from a thread that the JVM does not know attaches the thread and detaches it again,
/// which costs far more than the call itself. A pool thread that sends many commands holds one of
/// these. A thread that is attached already is left as it is, so these may nest.
///
/// The JVM must run: it starts with the first command of a Host. Lives on its thread's stack and is
/// destroyed there, before the thread ends. Errors: InstallationError where no JVM runs or it
/// refuses the thread.
class ThreadAttachment {
 public:
  ThreadAttachment() : m_vm(RunningJvm()) {
    if (m_vm->KnowsThisThread()) {
      return;
    }
    void* environment = nullptr;
    if (m_vm->functions->AttachCurrentThreadAsDaemon(m_vm, &environment, nullptr) != 0) {
      throw InstallationError(
          "The JVM refuses to attach this thread. Give the thread a stack of at least 256 KiB.");
    }
    m_attached = true;
  }
  ThreadAttachment(const ThreadAttachment&) = delete;
  ThreadAttachment& operator=(const ThreadAttachment&) = delete;
  ~ThreadAttachment() {
    if (m_attached) {
      m_vm->functions->DetachCurrentThread(m_vm);
    }
  }

 private:
  static detail::JavaVm* RunningJvm() {
    detail::JavaVm* vm = detail::FindJvmLibrary().vm;
    if (vm == nullptr) {
      throw InstallationError(
          "No JVM runs in this process yet: send a command (Host::Heartbeat) before attaching "
          "threads.");
    }
    return vm;
  }

  detail::JavaVm* m_vm;
  bool m_attached = false;
};

}  // namespace Ferrolink::Host

#endif
