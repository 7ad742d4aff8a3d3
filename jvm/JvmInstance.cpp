#include "jvm/JvmInstance.h"

#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

#include "jvm/JvmLibGlobals.h"
#include "jvm/LoadedJvm.h"

namespace Ferrolink::Runtimes::Jvm::Native {

namespace {

// False if the library has no JVM. True with a null `vm` if the JVM ended between the two calls.
bool FindOwnJvm(GetCreatedJavaVMsFunction* getCreatedJavaVMs, JavaVM*& vm) {
  jsize count = 0;
  getCreatedJavaVMs(nullptr, 0, &count);
  if (count < 1) {
    return false;
  }
  std::vector<JavaVM*> created(static_cast<std::size_t>(count), nullptr);
  getCreatedJavaVMs(created.data(), count, &count);
  vm = created.front();
  return true;
}

// Attaches the calling thread. False if the JVM refuses it; `env` is then null, also if the JVM has
// left an address there.
bool Attach(JavaVM* vm, JNIEnv*& env) {
  if (vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr) == JNI_OK) {
    return true;
  }
  env = nullptr;
  return false;
}

}  // namespace

JvmInstance::StartUpLock::StartUpLock(JvmInstance& jvm) : m_jvm(jvm) {
  m_jvm.m_startUpMutex.lock();
  m_jvm.m_startUpOwner.store(CurrentThreadToken(), std::memory_order_relaxed);
}

JvmInstance::StartUpLock::~StartUpLock() {
  m_jvm.m_startUpOwner.store(0, std::memory_order_relaxed);
  m_jvm.m_startUpMutex.unlock();
}

JvmInstance::AdoptersAttachment::~AdoptersAttachment() {
  ThreadToken self = CurrentThreadToken();
  if (m_jvm.m_attachedAdopter.compare_exchange_strong(self, 0)) {
    m_jvm.m_javaVM.load()->DetachCurrentThread();
  }
}

JvmInstance::JvmInstance(const LauncherErrors& errors) : m_errors(errors) {}

bool JvmInstance::BindToCallbacksJvm() {
  JavaVM* callback = callbackJavaVM.load();
  if (callback == nullptr) {
    return false;
  }
  m_javaVM.store(callback);
  return true;
}

bool JvmInstance::Adopt(GetCreatedJavaVMsFunction* getCreatedJavaVMs) {
  if (getCreatedJavaVMs == nullptr) {
    return false;  // binding: no JVM library was opened
  }
  // A process has one JVM, which may run under another JVM library than the one that was found.
  JavaVM* vm = nullptr;
  if (!FindOwnJvm(getCreatedJavaVMs, vm)) {
    vm = FindLoadedJvm();
    if (vm == nullptr) {
      return false;
    }
  }
  if (vm == nullptr) {
    m_errors.Raise("018. JVM not initialized");
  }
  m_startingThread.store(0);
  AttachAdopter(vm);
  m_javaVM.store(vm);
  return true;
}

void JvmInstance::AttachAdopter(JavaVM* vm) {
  JNIEnv* env = nullptr;
  const jint known = vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_8);
  if (known == JNI_OK || known == JNI_EDETACHED) {
    // The command of a thread that is refused fails with 019 when it enters the JVM.
    if (Attach(vm, env) && known == JNI_EDETACHED) {
      m_attachedAdopter.store(CurrentThreadToken());
    }
  }
  m_JvmEnv.store(env);
}

void JvmInstance::RunStartUpThread(const std::function<void()>& create) {
  std::thread(create).join();
}

void JvmInstance::Create(CreateJavaVMFunction* createJavaVM, JavaVMInitArgs* arguments) {
  JavaVM* vm = nullptr;
  JNIEnv* env = nullptr;
  m_createResult = createJavaVM(&vm, reinterpret_cast<void**>(&env), arguments);
  m_javaVM.store(vm);
  m_JvmEnv.store(env);
  m_created = m_createResult == JNI_OK;
}

void JvmInstance::RaiseCreateError() const {
  switch (m_createResult) {
    case JNI_ERR:
      m_errors.Raise("011");
    case JNI_EDETACHED:
      m_errors.Raise("012");
    case JNI_EVERSION:
      m_errors.Raise("013");
    case JNI_ENOMEM:
      m_errors.Raise("014");
    case JNI_EEXIST:
      m_errors.Raise("015");
    case JNI_EINVAL:
      m_errors.Raise("016");
    default:
      return;
  }
}

void JvmInstance::AttachStartingThread() {
  JavaVM* vm = m_javaVM.load();
  JNIEnv* env = getJniEnvForThread(vm);
  if (vm == nullptr) {
    m_JvmEnv.store(nullptr);  // the result code is no known error, but there is no JVM
    return;
  }
  // Another thread may have made the process-wide holder. Its environment is of no use to this
  // thread, which is then attached and stays attached.
  JNIEnv* own = nullptr;
  if (vm->GetEnv(reinterpret_cast<void**>(&own), JNI_VERSION_1_8) != JNI_OK || own != env) {
    if (!Attach(vm, env)) {
      m_JvmEnv.store(nullptr);  // start-up raises 005
      return;
    }
  }
  m_startingThread.store(CurrentThreadToken());
  m_JvmEnv.store(env);
}

void JvmInstance::Destroy() {
  JavaVM* vm = m_javaVM.load();
  if (vm == nullptr || !m_created) {
    return;
  }
  JNIEnv* env = nullptr;
  const jint version = m_jniVersion != 0 ? m_jniVersion : JNI_VERSION_1_8;
  if (vm->GetEnv(reinterpret_cast<void**>(&env), version) == JNI_EDETACHED) {
    Attach(vm, env);  // a refusal is DestroyJavaVM's to report: the JVM is told to end in any case
  }
  vm->DestroyJavaVM();
}

jint JvmInstance::Version() const {
  if (!HasEnvironment()) {
    return 0;
  }
  try {
    const ThreadJniEnv thread(m_javaVM.load());
    return thread.m_jniEnv->GetVersion();
  } catch (const std::exception&) {
    return 0;
  }
}

void JvmInstance::ForgetStartingThread() {
  ThreadToken self = CurrentThreadToken();
  m_startingThread.compare_exchange_strong(self, 0);
}

}  // namespace Ferrolink::Runtimes::Jvm::Native
