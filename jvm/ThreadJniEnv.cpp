#include "jvm/ThreadJniEnv.h"

#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>

#include "native/Console.h"
#include "native/FerrolinkNativeException.h"
#include "native/ReentryGuard.h"

namespace {

[[noreturn]] void Fail(const std::string& text) {
  throw FerrolinkNativeException(text, "Unknown");
}

[[noreturn]] void PrintAndFail(const std::string& text) {
  Ferrolink::Native::Console::PrintOut(text + "\n");
  Fail(text);
}

/// Owns the process-wide ThreadJniEnv. Not locked: first calls that race may both build one, and
/// the later replaces the earlier; the exchange makes sure that each is destroyed once.
///
/// A forked child that calls exit destroys it as well. The JVM's threads are not there, and what
/// they held at the fork stays locked: DetachCurrentThread would wait for ever. So only the process
/// that built the ThreadJniEnv destroys it. Its id is compared since no fork handler runs for a
/// child made by clone.
class ProcessHolder {
 public:
  ProcessHolder() = default;
  ProcessHolder(const ProcessHolder&) = delete;
  ProcessHolder& operator=(const ProcessHolder&) = delete;
  ~ProcessHolder() {
    if (m_process.load(std::memory_order_relaxed) == getpid()) {
      Install(nullptr);
    }
  }

  [[nodiscard]] ThreadJniEnv* get() const { return m_holder.load(std::memory_order_acquire); }

  void Install(std::unique_ptr<ThreadJniEnv> holder) {
    m_process.store(getpid(), std::memory_order_relaxed);
    const std::unique_ptr<ThreadJniEnv> replaced(
        m_holder.exchange(holder.release(), std::memory_order_acq_rel));
  }

 private:
  std::atomic<ThreadJniEnv*> m_holder{nullptr};
  std::atomic<pid_t> m_process{0};  ///< that built the current one
};

ProcessHolder threadJniEnv;

std::atomic<ThreadToken> lastThreadToken{0};
FERROLINK_THREAD_LOCAL ThreadToken threadToken = 0;

}  // namespace

ThreadToken CurrentThreadToken() {
  if (threadToken == 0) {
    threadToken = lastThreadToken.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  return threadToken;
}

ThreadJniEnv::ThreadJniEnv(JavaVM* vm) : m_javaVM(vm) {
  if (vm == nullptr) {
    Fail("ThreadJniEnv: JavaVM pointer is null");
  }
  const jint result = vm->GetEnv(reinterpret_cast<void**>(&m_jniEnv), JNI_VERSION_1_8);
  if (result == JNI_OK && m_jniEnv != nullptr) [[likely]] {
    return;
  }
  if (result == JNI_EDETACHED) {
    if (vm->AttachCurrentThread(reinterpret_cast<void**>(&m_jniEnv), nullptr) != JNI_OK) {
      PrintAndFail("ThreadJniEnv: failed to attach thread to JVM");
    }
    m_attached = true;
    m_thread = CurrentThreadToken();
  } else if (result == JNI_EVERSION) {
    PrintAndFail("ThreadJniEnv: JNI version not supported");
  } else if (result != JNI_OK) {
    PrintAndFail("ThreadJniEnv: unknown error getting JNI environment");
  }
  if (m_jniEnv == nullptr) {
    if (m_attached) {
      vm->DetachCurrentThread();
    }
    Fail("ThreadJniEnv: m_jniEnv is nullptr after initialization");
  }
}

ThreadJniEnv::~ThreadJniEnv() {
  if (m_attached && m_javaVM != nullptr && m_thread == CurrentThreadToken()) {
    m_javaVM->DetachCurrentThread();
  }
}

JNIEnv* getJniEnvForThread(JavaVM* vm) {
  if (const ThreadJniEnv* holder = threadJniEnv.get()) {
    return holder->m_jniEnv;
  }
  auto holder = std::make_unique<ThreadJniEnv>(vm);
  JNIEnv* environment = holder->m_jniEnv;
  threadJniEnv.Install(std::move(holder));
  return environment;
}
