#ifndef FERROLINK_HOST_THREADATTACHMENT_H
#define FERROLINK_HOST_THREADATTACHMENT_H

#include <cstdint>
#include <string>

#include "ferrolink/Errors.h"
#include "ferrolink/detail/JvmLibrary.h"

namespace Ferrolink::Host {

/// The file of the JVM library in this process, whatever its name:
/// @code
/// std::printf("Java runs in %s\n", Ferrolink::Host::JvmLibraryPath().c_str());
/// @endcode
/// If several copies are loaded, it is the one that has a JVM. Empty if none is loaded.
/// Thread-safe.
inline std::string JvmLibraryPath() {
  return detail::FindJvmLibrary().file.string();
}

/// Whether a JVM runs in this process and the calling thread is attached to it, no matter who
/// attached it. Thread-safe.
/// @code
/// if (!JvmKnowsThisThread()) {
///   attachment.emplace();  // a std::optional<ThreadAttachment>
/// }
/// @endcode
inline bool JvmKnowsThisThread() {
  detail::JavaVm* vm = detail::FindJvmLibrary().vm;
  return vm != nullptr && vm->KnowsThisThread();
}

/// Keeps the calling thread attached to the JVM while this object lives:
/// @code
/// void PoolThread(Ferrolink::Host::Host& host) {
///   const Ferrolink::Host::ThreadAttachment attachment;
///   while (auto work = NextWork()) {
///     host.Call("echo", *work);
///   }
/// }
/// @endcode
/// Without it, each command of a thread that the JVM does not know attaches and detaches the
/// thread, which costs far more than the call itself. If the thread is attached already, this
/// object is a no-op; objects may nest.
///
/// The JVM must run: it starts with the first command of a Host. To be created and destroyed on the
/// same thread. Errors: InstallationError if no JVM runs or if it refuses the thread.
class ThreadAttachment {
 public:
  /// Attaches the thread as a daemon, so it does not delay the end of the JVM.
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
