// What every command passes through is several functions to the reader and one to the compiler: a
// call of its own costs as much as some of the steps.
#include "jvm/JavaReceiver.h"

#include <cstddef>
#include <exception>
#include <mutex>
#include <utility>

#include "jvm/JavaCallback.h"
#include "native/FerrolinkNativeException.h"
#include "native/ReentryGuard.h"
#include "native/interfaces/CommandHeader.h"

using Ferrolink::Native::ReentryGuard;
using Ferrolink::Native::ThreadResponses;
namespace CommandHeader = Ferrolink::Native::Definitions::CommandHeader;

namespace {

constexpr const char* kReceiverClass = "com/ferrolink/core/receiver/Receiver";

// Set while this thread asks the Java receiver to describe itself. An error meanwhile is raised
// with runtime information like every other; asking Java again for that would never end.
FERROLINK_THREAD_LOCAL bool askingManagedRuntime = false;

// A command without a complete header has no command type.
bool isHeartBeat(const std::uint8_t* message, int length) {
  return length >= CommandHeader::kSize &&
         message[CommandHeader::kCommandType] == CommandHeader::kTypeHeartBeat;
}

}  // namespace

/// Marks a call into Java that is made with the starting thread's own class reference. That call
/// may send again on this thread. The reference then belongs to an outer frame, and checked JNI
/// ends the process if it is used, so that command uses the shared one.
class JavaReceiver::InsideJava {
 public:
  InsideJava(JavaReceiver& receiver, jclass used)
      : m_inside(used == receiver.m_class.load(std::memory_order_relaxed)
                     ? &receiver.m_startingThreadInJava
                     : nullptr) {
    if (m_inside != nullptr) {
      *m_inside = true;
    }
  }
  InsideJava(const InsideJava&) = delete;
  InsideJava& operator=(const InsideJava&) = delete;
  ~InsideJava() {
    if (m_inside != nullptr) {
      *m_inside = false;
    }
  }

 private:
  bool* m_inside;
};

JavaReceiver::JavaReceiver(Kind kind, const LauncherErrors& errors, JvmInstance& jvm,
                           ThreadResponses& responses)
    : m_isClass(kind == Kind::ReceiverClass),
      m_errors(errors),
      m_jvm(jvm),
      m_responses(responses) {}

// A thread that cannot be attached has no environment. The reason is reported already.
[[gnu::always_inline]] inline ThreadJniEnv JavaReceiver::enterJvm() {
  try {
    return ThreadJniEnv(m_jvm.knownVm());
  } catch (const FerrolinkNativeException&) {
  }
  raiseFailedAttach();
}

// The guard prevents a second attempt to describe the Java side: the thread was just refused.
void JavaReceiver::raiseFailedAttach() {
  const ReentryGuard guard(askingManagedRuntime);
  m_errors.raise("019. Failed to attach thread to JVM");
}

int JavaReceiver::send(std::uint8_t* message, int length) {
  const ThreadJniEnv thread = enterJvm();
  m_jvm.noteAttachment(thread);
  return dispatch(thread.m_jniEnv, message, length);
}

int JavaReceiver::sendAfterLookUp(std::uint8_t* message, int length) {
  const ThreadJniEnv thread = enterJvm();
  m_jvm.noteAttachment(thread);
  if (!isKnown()) {
    lookUpOnce(thread.m_jniEnv);
  }
  return dispatch(thread.m_jniEnv, message, length);
}

[[gnu::always_inline]] inline int JavaReceiver::dispatch(JNIEnv* env, std::uint8_t* message,
                                                         int length) {
  Jni::LocalReference<jbyteArray> command = makeCommandArray(env, message, length);
  Jni::LocalReference<jbyteArray> response =
      callJava(env, command.get(), isHeartBeat(message, length));
  if (!response) {
    command.reset();
    m_errors.raise(m_isClass ? "024. Null response from JVM"
                             : "024. Null response from runtime callback");
  }
  const int stored = storeResponse(env, response.get());
  command.reset();
  return stored;
}

// The lock is given back before anything is raised: the runtime information that every error text
// carries comes out of Java.
[[gnu::always_inline]] inline Jni::LocalReference<jbyteArray> JavaReceiver::makeCommandArray(
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
    m_errors.raisePending(env, failed, true);
  }
  return command;
}

[[gnu::always_inline]] inline jobject JavaReceiver::callReceiver(JNIEnv* env, jbyteArray command,
                                                                 bool heartBeat) {
  const std::atomic<jmethodID>& method = heartBeat ? m_heartBeatMethod : m_sendCommandMethod;
  if (jclass known = knownClassFor(env)) [[likely]] {
    const InsideJava inside(*this, known);
    return env->CallStaticObjectMethod(known, method.load(std::memory_order_relaxed), command);
  }
  const UsableClass found = classFor(env);
  return env->CallStaticObjectMethod(found.usable, method.load(std::memory_order_relaxed), command);
}

[[gnu::always_inline]] inline Jni::LocalReference<jbyteArray> JavaReceiver::callJava(
    JNIEnv* env, jbyteArray command, bool heartBeat) {
  jobject result = nullptr;
  if (m_isClass) {
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
  if (!m_isClass && response && !JavaCallback::isByteArray(env, response.get())) {
    m_errors.raise("025. Failed to get callback response bytes");
  }
  return response;
}

[[gnu::always_inline]] inline int JavaReceiver::storeResponse(JNIEnv* env, jbyteArray response) {
  const Jni::ByteArrayElements elements(env, response);
  if (elements.get() == nullptr) {
    Jni::clearPendingException(env);
    m_errors.raise(m_isClass ? "025. Failed to get byte array elements"
                             : "025. Failed to get callback response bytes");
  }
  m_errors.check(env, "026");
  const jsize length = env->GetArrayLength(response);
  m_errors.check(env, "027");
  m_responses.store(reinterpret_cast<const std::uint8_t*>(elements.get()),
                    static_cast<std::size_t>(length));
  return length;
}

void JavaReceiver::lookUpOnce(JNIEnv* env) {
  const JvmInstance::StartUpLock lock(m_jvm);
  if (!isKnown()) {
    lookUpWith(env);
  }
}

void JavaReceiver::lookUp() {
  if (!m_jvm.hasEnvironment()) {
    m_errors.raise("006. \nReinstall Ferrolink package");
  }
  const ThreadJniEnv thread(m_jvm.vm());
  m_jvm.noteAttachment(thread);
  lookUpWith(thread.m_jniEnv);
}

void JavaReceiver::lookUpWith(JNIEnv* env) {
  Jni::LocalReference<jclass> found = findClass(env);
  jmethodID sendCommand = findMethod(env, found.get(), "sendCommand", "([B)[B", "034", "008");
  jmethodID heartBeat = findMethod(env, found.get(), "heartBeat", "([B)[B", "035", "009");
  jmethodID runtimeInfo =
      findMethod(env, found.get(), "getRuntimeInfo", "()Ljava/lang/String;", "036", "010");
  if (m_jvm.isStartingThread(env)) {
    m_class.store(found.release());
  } else {
    shareClass(env, found.get());
  }
  m_sendCommandMethod.store(sendCommand);
  m_heartBeatMethod.store(heartBeat);
  m_runtimeInfoMethod.store(runtimeInfo);
  m_known.store(true);
}

Jni::LocalReference<jclass> JavaReceiver::findClass(JNIEnv* env) {
  Jni::LocalReference<jclass> found(env, env->FindClass(kReceiverClass));
  m_errors.check(env, "033");
  if (!found) {
    m_errors.raise("007. \nReinstall Ferrolink package");
  }
  return found;
}

jmethodID JavaReceiver::findMethod(JNIEnv* env, jclass receiverClass, const char* name,
                                   const char* signature, const char* checkCode,
                                   const char* nullCode) {
  jmethodID method = env->GetStaticMethodID(receiverClass, name, signature);
  m_errors.check(env, checkCode);
  if (method == nullptr) {
    m_errors.raise(std::string(nullCode) + ". \nReinstall Ferrolink package");
  }
  return method;
}

// The starting thread uses its local reference until another thread comes; from then on all threads
// use one shared global reference. The first other thread makes it of its own FindClass result.
// Threads that come meanwhile use their own result for the one call, so no thread waits and exactly
// one global reference is made.
JavaReceiver::UsableClass JavaReceiver::classFor(JNIEnv* env) {
  if (jclass known = knownClassFor(env)) {
    return {known, {}};
  }
  Jni::LocalReference<jclass> own = findClass(env);
  if (jclass shared = shareClass(env, own.get())) {
    return {shared, {}};
  }
  jclass usable = own.get();
  return {usable, std::move(own)};
}

// Null if another thread makes the reference at this moment, or if the JVM makes none.
jclass JavaReceiver::shareClass(JNIEnv* env, jclass found) {
  if (m_sharingClass.exchange(true)) {
    return nullptr;
  }
  auto shared = static_cast<jclass>(env->NewGlobalRef(found));
  if (shared == nullptr) {
    Jni::clearPendingException(env);
    m_sharingClass.store(false);
    return nullptr;
  }
  m_sharedClass.store(shared, std::memory_order_release);
  return shared;
}

std::string JavaReceiver::describe() {
  if (!m_isClass || !m_jvm.hasEnvironment() || !isKnown()) {
    return {};
  }
  const ReentryGuard guard(askingManagedRuntime);
  if (!guard.outermost()) {
    return {};
  }
  try {
    const ThreadJniEnv thread(m_jvm.vm());
    m_jvm.noteAttachment(thread);
    return askForInfo(thread.m_jniEnv);
  } catch (const std::exception&) {
    return {};
  }
}

std::string JavaReceiver::askForInfo(JNIEnv* env) {
  const UsableClass receiverClass = classFor(env);
  const auto askJava = [&] {
    const InsideJava inside(*this, receiverClass.usable);
    return env->CallStaticObjectMethod(receiverClass.usable, m_runtimeInfoMethod.load());
  };
  Jni::LocalReference<jstring> text(env, static_cast<jstring>(askJava()));
  m_errors.check(env, "028");
  if (!text) {
    return {};
  }
  Jni::StringCharacters characters(env, text.get());
  if (characters.get() == nullptr) {
    Jni::clearPendingException(env);
    text.reset();
    m_errors.raise("029. Failed to get UTF chars");
  }
  m_errors.check(env, "030");
  std::string info = characters.get();
  characters.reset();
  m_errors.check(env, "031");
  return info;
}
