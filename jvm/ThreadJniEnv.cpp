#include "jvm/ThreadJniEnv.h"

#include <atomic>
#include <memory>
#include <string>

#include "native/Console.h"
#include "native/FerrolinkNativeException.h"
#include "native/ReentryGuard.h"

namespace {

[[noreturn]] void fail(const std::string& text) {
  throw FerrolinkNativeException(text, "Unknown");
}

[[noreturn]] void printAndFail(const std::string& text) {
  Ferrolink::Native::Console::printOut(text + "\n");
  fail(text);
}

/// Owns the process-wide ThreadJniEnv. Not locked: first calls that race may both build one, and
/// the later replaces the earlier; the exchange makes sure that each is destroyed once.
class ProcessHolder {
 public:
  ProcessHolder() = default;
  ProcessHolder(const ProcessHolder&) = delete;
  ProcessHolder& operator=(const ProcessHolder&) = delete;
  ~ProcessHolder() { install(nullptr); }

  [[nodiscard]] ThreadJniEnv* get() const { return m_holder.load(std::memory_order_acquire); }

  void install(std::unique_ptr<ThreadJniEnv> holder) {
    const std::unique_ptr<ThreadJniEnv> replaced(
        m_holder.exchange(holder.release(), std::memory_order_acq_rel));
  }

 private:
  std::atomic<ThreadJniEnv*> m_holder{nullptr};
};

ProcessHolder threadJniEnv;

std::atomic<ThreadToken> lastThreadToken{0};
FERROLINK_THREAD_LOCAL ThreadToken threadToken = 0;

}  // namespace

ThreadToken currentThreadToken() {
  if (threadToken == 0) {
    threadToken = lastThreadToken.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  return threadToken;
}

ThreadJniEnv::ThreadJniEnv(JavaVM* vm) : m_javaVM(vm) {
  if (vm == nullptr) {
    fail("ThreadJniEnv: JavaVM pointer is null");
  }
  const jint result = vm->GetEnv(reinterpret_cast<void**>(&m_jniEnv), JNI_VERSION_1_8);
  if (result == JNI_OK && m_jniEnv != nullptr) [[likely]] {
    return;
  }
  if (result == JNI_EDETACHED) {
    if (vm->AttachCurrentThread(reinterpret_cast<void**>(&m_jniEnv), nullptr) != JNI_OK) {
      printAndFail("ThreadJniEnv: failed to attach thread to JVM");
    }
    m_attached = true;
    m_thread = currentThreadToken();
  } else if (result == JNI_EVERSION) {
    printAndFail("ThreadJniEnv: JNI version not supported");
  } else if (result != JNI_OK) {
    printAndFail("ThreadJniEnv: unknown error getting JNI environment");
  }
  if (m_jniEnv == nullptr) {
    if (m_attached) {
      vm->DetachCurrentThread();
    }
    fail("ThreadJniEnv: m_jniEnv is nullptr after initialization");
  }
}

ThreadJniEnv::~ThreadJniEnv() {
  if (m_attached && m_javaVM != nullptr && m_thread == currentThreadToken()) {
    m_javaVM->DetachCurrentThread();
  }
}

JNIEnv* getJniEnvForThread(JavaVM* vm) {
  if (const ThreadJniEnv* holder = threadJniEnv.get()) {
    return holder->m_jniEnv;
  }
  auto holder = std::make_unique<ThreadJniEnv>(vm);
  JNIEnv* environment = holder->m_jniEnv;
  threadJniEnv.install(std::move(holder));
  return environment;
}
