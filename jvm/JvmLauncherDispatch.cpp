// Commands into the JVM and their responses. What every command passes through is one function to
// the compiler and several to the reader: a call of its own would cost as much as some of the
// steps.
#include <cstddef>
#include <optional>

#include "jvm/JavaCallback.h"
#include "jvm/JvmLauncher.h"
#include "native/interfaces/CommandHeader.h"

namespace CommandHeader = Ferrolink::Native::Definitions::CommandHeader;

namespace {

// A command without a complete header has no command type.
bool hasType(const std::uint8_t* message, int length, std::uint8_t type) {
  return length >= CommandHeader::kSize && message[CommandHeader::kCommandType] == type;
}

}  // namespace

/// Holds the start-up lock, and tells by whom it is held.
class JvmLauncher::StartUpLock {
 public:
  explicit StartUpLock(JvmLauncher& launcher) : m_launcher(launcher) {
    launcher.m_startUpMutex.lock();
    launcher.m_startUpOwner.store(currentThreadToken(), std::memory_order_relaxed);
  }
  StartUpLock(const StartUpLock&) = delete;
  StartUpLock& operator=(const StartUpLock&) = delete;
  ~StartUpLock() {
    m_launcher.m_startUpOwner.store(0, std::memory_order_relaxed);
    m_launcher.m_startUpMutex.unlock();
  }

 private:
  JvmLauncher& m_launcher;
};

/// Owns the attachment of a thread that adopted a JVM and was attached for that: it ends with the
/// command. A thread that stayed attached would keep a Java program from ending.
class JvmLauncher::AdoptersAttachment {
 public:
  explicit AdoptersAttachment(JvmLauncher& launcher) : m_launcher(launcher) {}
  AdoptersAttachment(const AdoptersAttachment&) = delete;
  AdoptersAttachment& operator=(const AdoptersAttachment&) = delete;
  ~AdoptersAttachment() {
    ThreadToken self = currentThreadToken();
    if (m_launcher.m_attachedAdopter.compare_exchange_strong(self, 0)) {
      m_launcher.m_javaVM.load()->DetachCurrentThread();
    }
  }

 private:
  JvmLauncher& m_launcher;
};

// A thread that cannot be attached has no environment; what refused it is reported already.
[[gnu::always_inline]] inline void JvmLauncher::enterJvm(std::optional<ThreadJniEnv>& thread) {
  try {
    thread.emplace(m_javaVM.load(std::memory_order_relaxed));
  } catch (const FerrolinkNativeException&) {
    thread.reset();
  }
  if (!thread) {
    raiseFailedAttach();
  }
  noteAttachment(*thread);
}

int JvmLauncher::SendCommand(std::uint8_t* message, int length) {
  if (m_launching) {
    if (hasType(message, length, CommandHeader::kTypeLoadLibrary)) {
      return HandleLoadLibraryCommand(message, length);
    }
    if (!isReceiverKnown()) [[unlikely]] {
      return sendUnprepared(message, length);
    }
  } else {
    requireCallback();
  }
  std::optional<ThreadJniEnv> thread;
  enterJvm(thread);
  return dispatch(thread->m_jniEnv, message, length);
}

// A command that comes before the receiver is known. One that comes while start-up prints what the
// receiver says of itself does not pass here, hence waits for nothing: the receiver may be waiting
// for that command. One out of the receiver's class initialiser would wait for itself: it finds no
// JVM initialised instead.
int JvmLauncher::sendUnprepared(std::uint8_t* message, int length) {
  if (m_startUpOwner.load(std::memory_order_relaxed) == currentThreadToken()) {
    m_errors.raise("018. JVM not initialized");
  }
  const AdoptersAttachment attachment(*this);
  if (!m_jvmInitialized.load(std::memory_order_acquire)) {
    initializeJvmOnce();
  }
  if (m_javaVM.load(std::memory_order_relaxed) == nullptr) {
    m_errors.raise("018. JVM not initialized");
  }
  std::optional<ThreadJniEnv> thread;
  enterJvm(thread);
  if (!isReceiverKnown()) {
    lookUpReceiverOnce(thread->m_jniEnv);
  }
  return dispatch(thread->m_jniEnv, message, length);
}

void JvmLauncher::initializeJvmOnce() {
  const StartUpLock lock(*this);
  if (!m_jvmInitialized.load(std::memory_order_relaxed)) {
    InitializeJvm();
    m_jvmInitialized.exchange(true);
  }
}

void JvmLauncher::requireCallback() {
  if (!TryBindToCallingRuntimeJavaVm()) {
    m_errors.raise("018. JVM not initialized");
  }
  if (!JavaCallback::isSet()) {
    m_errors.raise("032. Java callback is not set");
  }
}

// After a start-up that failed, or with a JVM that others had started, the receiver is not known
// yet.
void JvmLauncher::lookUpReceiverOnce(JNIEnv* env) {
  const StartUpLock lock(*this);
  if (!isReceiverKnown()) {
    lookUpReceiver(env);
  }
}

[[gnu::always_inline]] inline int JvmLauncher::dispatch(JNIEnv* env, std::uint8_t* message,
                                                        int length) {
  Jni::LocalReference<jbyteArray> command = makeCommandArray(env, message, length);
  Jni::LocalReference<jbyteArray> response =
      callJava(env, command.get(), hasType(message, length, CommandHeader::kTypeHeartBeat));
  if (!response) {
    command.reset();
    m_errors.raise(m_launching ? "024. Null response from JVM"
                               : "024. Null response from runtime callback");
  }
  const int stored = storeJavaResponse(env, response.get());
  command.reset();
  return stored;
}

// The lock is given back before anything is raised: the runtime information that every error text
// carries comes out of Java.
[[gnu::always_inline]] inline Jni::LocalReference<jbyteArray> JvmLauncher::makeCommandArray(
    JNIEnv* env, const std::uint8_t* message, int length) {
  std::unique_lock<Ferrolink::Native::BriefMutex> lock(m_arrayMutex);
  Jni::LocalReference<jbyteArray> command(env, env->NewByteArray(length));
  if (!command) {
    lock.unlock();
    Jni::clearPendingException(env);
    m_errors.raise("020. Failed to create byte array");
  }
  const char* failed = nullptr;
  if (env->ExceptionCheck() != JNI_FALSE) {
    failed = "021";
  } else {
    env->SetByteArrayRegion(command.get(), 0, length, reinterpret_cast<const jbyte*>(message));
    if (env->ExceptionCheck() != JNI_FALSE) {
      failed = "022";
    }
  }
  lock.unlock();
  if (failed != nullptr) {
    CheckAndHandleJvmException(env, failed, true);
  }
  return command;
}

[[gnu::always_inline]] inline jobject JvmLauncher::callReceiver(JNIEnv* env, jbyteArray command,
                                                                bool heartBeat) {
  const std::atomic<jmethodID>& method = heartBeat ? m_heartBeatMethod : m_sendCommandMethod;
  if (jclass known = knownReceiverClassFor(env)) [[likely]] {
    const InsideJava inside(*this, known);
    return env->CallStaticObjectMethod(known, method.load(std::memory_order_relaxed), command);
  }
  const ReceiverClass found = receiverClassFor(env);
  return env->CallStaticObjectMethod(found.usable, method.load(std::memory_order_relaxed), command);
}

[[gnu::always_inline]] inline Jni::LocalReference<jbyteArray> JvmLauncher::callJava(
    JNIEnv* env, jbyteArray command, bool heartBeat) {
  jobject result = nullptr;
  if (m_launching) {
    result = callReceiver(env, command, heartBeat);
  } else {
    const JavaCallback::Borrowed callback = JavaCallback::borrow(env);
    if (!callback.object) {
      m_errors.raise("032. Java callback is not set");
    }
    result = env->CallObjectMethod(callback.object.get(), callback.method, command);
  }
  Jni::LocalReference<jbyteArray> response(env, static_cast<jbyteArray>(result));
  m_errors.check(env, "023");
  if (!m_launching && response && !JavaCallback::isByteArray(env, response.get())) {
    m_errors.raise("025. Failed to get callback response bytes");
  }
  return response;
}

[[gnu::always_inline]] inline int JvmLauncher::storeJavaResponse(JNIEnv* env, jbyteArray response) {
  const Jni::ByteArrayElements elements(env, response);
  if (elements.get() == nullptr) {
    Jni::clearPendingException(env);
    m_errors.raise(m_launching ? "025. Failed to get byte array elements"
                               : "025. Failed to get callback response bytes");
  }
  m_errors.check(env, "026");
  const jsize length = env->GetArrayLength(response);
  m_errors.check(env, "027");
  m_responses.store(reinterpret_cast<const std::uint8_t*>(elements.get()),
                    static_cast<std::size_t>(length));
  return length;
}

int JvmLauncher::ReadResponse(std::uint8_t* buffer, int length) {
  if (!m_responses.read(buffer, length)) {
    m_errors.raise("017.\nError while reading response");
  }
  return 0;
}
