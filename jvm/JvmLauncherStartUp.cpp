// Creating or adopting the JVM, and finding the Java receiver.
#include "jvm/JvmLauncher.h"
#include "jvm/LoadedJvm.h"
#include "native/Console.h"

using Ferrolink::Native::Console::printOut;

int JvmLauncher::InitializeJvm() {
  if (adoptRunningJvm()) {
    return 0;
  }
  if (m_launching) {
    startJvm();
    takeStartingThreadEnvironment();
  }
  if (m_JvmEnv.load() == nullptr) {
    m_errors.raise("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package");
  }
  m_jniVersion = GetVersion();
  GetReceiverClass();
  printOut(GetRuntimeInfoFromManagedRuntime() + "\n");
  return 0;
}

// The receiver class is not looked up here: the command that adopts does that next. There is no
// starting thread: what FindClass gives a thread that Java called ends with that native method.
bool JvmLauncher::adoptRunningJvm() {
  if (m_finder.getCreatedJavaVMs() == nullptr) {
    return false;  // binding: the process's JVM library was never opened by this launcher
  }
  // A process has one JVM. It may run under another JVM library than the one that was found.
  JavaVM* vm = nullptr;
  if (!ownLibrarysJvm(vm)) {
    vm = findLoadedJvm();
    if (vm == nullptr) {
      return false;
    }
  }
  if (vm == nullptr) {
    m_errors.raise("018. JVM not initialized");  // it ended while it was asked for
  }
  m_startingThread.store(0);
  attachAdopter(vm);
  m_javaVM.store(vm);
  return true;
}

bool JvmLauncher::ownLibrarysJvm(JavaVM*& vm) {
  GetCreatedJavaVMsFunction* getCreatedJavaVMs = m_finder.getCreatedJavaVMs();
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

void JvmLauncher::attachAdopter(JavaVM* vm) {
  JNIEnv* env = nullptr;
  const jint known = vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_8);
  if (known == JNI_OK || known == JNI_EDETACHED) {
    const jint attached = vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    if (known == JNI_EDETACHED && attached == JNI_OK) {
      m_attachedAdopter.store(currentThreadToken());
    }
  }
  m_JvmEnv.store(env);
}

void JvmLauncher::startJvm() {
  if (m_finder.createJavaVM() == nullptr) {
    m_errors.raise("018. JVM not initialized");
  }
  m_libraries.buildOptions(m_finder.runtimePath());
  std::thread(createJavaVM, this).join();
  m_libraries.releaseOptions();
}

void createJavaVM(JvmLauncher* launcher) {
  JavaVM* vm = nullptr;
  JNIEnv* env = nullptr;
  launcher->m_createResult = launcher->m_finder.createJavaVM()(&vm, reinterpret_cast<void**>(&env),
                                                               launcher->m_libraries.arguments());
  launcher->m_javaVM.store(vm);
  launcher->m_JvmEnv.store(env);
  launcher->m_createdJvm = launcher->m_createResult == JNI_OK;
  launcher->HandleLaunchJvmError();
}

void JvmLauncher::HandleLaunchJvmError() {
  switch (m_createResult) {
    case JNI_ERR:
      m_errors.raise("011");
    case JNI_EDETACHED:
      m_errors.raise("012");
    case JNI_EVERSION:
      m_errors.raise("013");
    case JNI_ENOMEM:
      m_errors.raise("014");
    case JNI_EEXIST:
      m_errors.raise("015");
    case JNI_EINVAL:
      m_errors.raise("016");
    default:
      return;
  }
}

void JvmLauncher::takeStartingThreadEnvironment() {
  JavaVM* vm = m_javaVM.load();
  JNIEnv* env = getJniEnvForThread(vm);
  if (vm == nullptr) {
    m_JvmEnv.store(nullptr);  // a result that names no error, and no JVM
    return;
  }
  // The process-wide holder may have been built by another thread before; its environment is of no
  // use here, and this thread then stays attached by itself.
  JNIEnv* own = nullptr;
  if (vm->GetEnv(reinterpret_cast<void**>(&own), JNI_VERSION_1_8) != JNI_OK || own != env) {
    env = nullptr;
    vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  }
  m_startingThread.store(currentThreadToken());
  m_JvmEnv.store(env);
}

void JvmLauncher::GetReceiverClass() {
  if (m_JvmEnv.load() == nullptr) {
    m_errors.raise("006. \nReinstall Ferrolink package");
  }
  const ThreadJniEnv thread(m_javaVM.load());
  noteAttachment(thread);
  lookUpReceiver(thread.m_jniEnv);
}

void JvmLauncher::forgetStartingThread() {
  ThreadToken self = currentThreadToken();
  m_startingThread.compare_exchange_strong(self, 0);
}

void JvmLauncher::lookUpReceiver(JNIEnv* env) {
  Jni::LocalReference<jclass> found = findReceiverClass(env);
  jmethodID sendCommand =
      findReceiverMethod(env, found.get(), "sendCommand", "([B)[B", "034", "008");
  jmethodID heartBeat = findReceiverMethod(env, found.get(), "heartBeat", "([B)[B", "035", "009");
  jmethodID runtimeInfo =
      findReceiverMethod(env, found.get(), "getRuntimeInfo", "()Ljava/lang/String;", "036", "010");
  if (isStartingThread(env)) {
    m_receiverClass.store(found.release());
  } else {
    shareReceiverClass(env, found.get());
  }
  m_sendCommandMethod.store(sendCommand);
  m_heartBeatMethod.store(heartBeat);
  m_runtimeInfoMethod.store(runtimeInfo);
  m_receiverKnown.store(true);
}

Jni::LocalReference<jclass> JvmLauncher::findReceiverClass(JNIEnv* env) {
  Jni::LocalReference<jclass> found(env, env->FindClass(m_receiverClassName.c_str()));
  m_errors.check(env, "033");
  if (!found) {
    m_errors.raise("007. \nReinstall Ferrolink package");
  }
  return found;
}

jmethodID JvmLauncher::findReceiverMethod(JNIEnv* env, jclass receiverClass, const char* name,
                                          const char* signature, const char* checkCode,
                                          const char* nullCode) {
  jmethodID method = env->GetStaticMethodID(receiverClass, name, signature);
  m_errors.check(env, checkCode);
  if (method == nullptr) {
    m_errors.raise(std::string(nullCode) + ". \nReinstall Ferrolink package");
  }
  return method;
}

// The starting thread uses its local reference until another thread comes; from then on all use one
// shared global reference. The first other thread makes it, of its own FindClass result; threads
// that come while it is being made use their own result for the one call, so that nobody waits and
// exactly one global reference is made.
JvmLauncher::ReceiverClass JvmLauncher::receiverClassFor(JNIEnv* env) {
  if (jclass known = knownReceiverClassFor(env)) {
    return {known, {}};
  }
  Jni::LocalReference<jclass> own = findReceiverClass(env);
  if (jclass shared = shareReceiverClass(env, own.get())) {
    return {shared, {}};
  }
  jclass usable = own.get();
  return {usable, std::move(own)};
}

// Null where another thread is just making the reference, or the JVM makes none.
jclass JvmLauncher::shareReceiverClass(JNIEnv* env, jclass found) {
  if (m_sharingReceiverClass.exchange(true)) {
    return nullptr;
  }
  auto shared = static_cast<jclass>(env->NewGlobalRef(found));
  if (shared == nullptr) {
    Jni::clearPendingException(env);
    m_sharingReceiverClass.store(false);
    return nullptr;
  }
  m_sharedReceiverClass.store(shared, std::memory_order_release);
  return shared;
}
