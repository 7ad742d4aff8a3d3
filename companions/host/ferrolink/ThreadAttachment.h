#ifndef FERROLINK_HOST_THREADATTACHMENT_H
#define FERROLINK_HOST_THREADATTACHMENT_H

#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "ferrolink/Errors.h"

namespace Ferrolink::Host {

namespace detail {

/// The head of the JNI invocation interface, whose layout the JNI fixes for all JVMs
/// (docs.oracle.com, "The Invocation API"). Repeated here so that a host needs no JDK to compile.
struct JavaVm {
  struct Functions {
    void* reserved[3];
    std::int32_t (*DestroyJavaVM)(JavaVm*);
    std::int32_t (*AttachCurrentThread)(JavaVm*, void** environment, void* arguments);
    std::int32_t (*DetachCurrentThread)(JavaVm*);
    std::int32_t (*GetEnv)(JavaVm*, void** environment, std::int32_t version);
    std::int32_t (*AttachCurrentThreadAsDaemon)(JavaVm*, void** environment, void* arguments);
  };
  const Functions* functions;
};

inline constexpr std::int32_t kJniVersion8 = 0x00010008;
inline constexpr std::int32_t kJniDetached = -2;

inline int noteJvmLibrary(dl_phdr_info* library, std::size_t /*size*/, void* found) {
  const std::string_view name = library->dlpi_name;
  if (!name.ends_with("/libjvm.so")) {
    return 0;
  }
  *static_cast<std::string*>(found) = name;
  return 1;
}

}  // namespace detail

/// The file of the JVM library in this process; empty where none is loaded. Any thread.
inline std::string JvmLibraryPath() {
  std::string path;
  dl_iterate_phdr(detail::noteJvmLibrary, &path);
  return path;
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
  ThreadAttachment() : m_vm(runningJvm()) {
    void* environment = nullptr;
    if (m_vm->functions->GetEnv(m_vm, &environment, detail::kJniVersion8) != detail::kJniDetached) {
      return;
    }
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
  static detail::JavaVm* runningJvm() {
    detail::JavaVm* vm = nullptr;
    std::int32_t count = 0;
    if (const std::string path = JvmLibraryPath(); !path.empty()) {
      void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
      using GetCreated = std::int32_t(detail::JavaVm**, std::int32_t, std::int32_t*);
      auto* getCreated = reinterpret_cast<GetCreated*>(dlsym(library, "JNI_GetCreatedJavaVMs"));
      if (getCreated != nullptr) {
        getCreated(&vm, 1, &count);
      }
      if (library != nullptr) {
        dlclose(library);
      }
    }
    if (vm == nullptr || count < 1) {
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
