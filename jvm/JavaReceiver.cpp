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
bool IsHeartBeat(const std::uint8_t* message, int length) {
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
[[gnu::always_inline]] inline ThreadJniEnv JavaReceiver::EnterJvm() {
  try {
    return ThreadJniEnv(m_jvm.KnownVm());
  } catch (const FerrolinkNativeException&) {
  }
  RaiseFailedAttach();
}

// The guard prevents a second attempt to describe the Java side: the thread was just refused.
void JavaReceiver::RaiseFailedAttach() {
  const ReentryGuard guard(askingManagedRuntime);
  m_errors.Raise("019. Failed to attach thread to JVM");
}

int JavaReceiver::Send(std::uint8_t* message, int length) {
  const ThreadJniEnv thread = EnterJvm();
  m_jvm.NoteAttachment(thread);
  return Dispatch(thread.m_jniEnv, message, length);
}

int JavaReceiver::SendAfterLookUp(std::uint8_t* message, int length) {
  const ThreadJniEnv thread = EnterJvm();
  m_jvm.NoteAttachment(thread);
  if (!IsKnown()) {
    LookUpOnce(thread.m_jniEnv);
  }
  return Dispatch(thread.m_jniEnv, message, length);
}

[[gnu::always_inline]] inline int JavaReceiver::Dispatch(JNIEnv* env, std::uint8_t* message,
                                                         int length) {
  Jni::LocalReference<jbyteArray> command = MakeCommandArray(env, message, length);
  Jni::LocalReference<jbyteArray> response =
      CallJava(env, command.get(), IsHeartBeat(message, length));
  if (!response) {
    command.Reset();
    m_errors.Raise(m_isClass ? "024. Null response from JVM"
                             : "024. Null response from runtime callback");
  }
  const int stored = StoreResponse(env, response.get());
  command.Reset();
  return stored;
}

// The lock is given back before anything is raised: the runtime information that every error text
// carries comes out of Java.
[[gnu::always_inline]] inline Jni::LocalReference<jbyteArray> JavaReceiver::MakeCommandArray(
    JNIEnv* env, const std::uint8_t* message, int length) {
  std::unique_lock<Ferrolink::Native::BriefMutex> lock(m_arrayMutex);
  Jni::LocalReference<jbyteArray> command(env, env->NewByteArray(length));
  if (!command) {
    lock.unlock();
    Jni::ClearPendingException(env);
    m_errors.Raise("020. Failed to create byte array");
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
    m_errors.RaisePending(env, failed, true);
  }
  return command;
}

[[gnu::always_inline]] inline jobject JavaReceiver::CallReceiver(JNIEnv* env, jbyteArray command,
                                                                 bool heartBeat) {
  const std::atomic<jmethodID>& method = heartBeat ? m_heartBeatMethod : m_sendCommandMethod;
  if (jclass known = KnownClassFor(env)) [[likely]] {
    const InsideJava inside(*this, known);
    return env->CallStaticObjectMethod(known, method.load(std::memory_order_relaxed), command);
  }
  const UsableClass found = ClassFor(env);
  return env->CallStaticObjectMethod(found.usable, method.load(std::memory_order_relaxed), command);
}

[[gnu::always_inline]] inline Jni::LocalReference<jbyteArray> JavaReceiver::CallJava(
    JNIEnv* env, jbyteArray command, bool heartBeat) {
  jobject result = nullptr;
  if (m_isClass) {
    result = CallReceiver(env, command, heartBeat);
  } else {
    const JavaCallback::Borrowed callback = JavaCallback::Borrow(env);
    if (!callback.object) {
      m_errors.Raise("032. Java callback is not set");
    }
    result = env->CallObjectMethod(callback.object.get(), callback.method, command);
  }
  Jni::LocalReference<jbyteArray> response(env, static_cast<jbyteArray>(result));
  m_errors.Check(env, "023");
  if (!m_isClass && response && !JavaCallback::IsByteArray(env, response.get())) {
    m_errors.Raise("025. Failed to get callback response bytes");
  }
  return response;
}

[[gnu::always_inline]] inline int JavaReceiver::StoreResponse(JNIEnv* env, jbyteArray response) {
  const Jni::ByteArrayElements elements(env, response);
  if (elements.get() == nullptr) {
    Jni::ClearPendingException(env);
    m_errors.Raise(m_isClass ? "025. Failed to get byte array elements"
                             : "025. Failed to get callback response bytes");
  }
  m_errors.Check(env, "026");
  const jsize length = env->GetArrayLength(response);
  m_errors.Check(env, "027");
  m_responses.Store(reinterpret_cast<const std::uint8_t*>(elements.get()),
                    static_cast<std::size_t>(length));
  return length;
}

void JavaReceiver::LookUpOnce(JNIEnv* env) {
  const JvmInstance::StartUpLock lock(m_jvm);
  if (!IsKnown()) {
    LookUpWith(env);
  }
}

void JavaReceiver::LookUp() {
  if (!m_jvm.HasEnvironment()) {
    m_errors.Raise("006. \nReinstall Ferrolink package");
  }
  const ThreadJniEnv thread(m_jvm.Vm());
  m_jvm.NoteAttachment(thread);
  LookUpWith(thread.m_jniEnv);
}

void JavaReceiver::LookUpWith(JNIEnv* env) {
  Jni::LocalReference<jclass> found = FindClass(env);
  jmethodID sendCommand = FindMethod(env, found.get(), "sendCommand", "([B)[B", "034", "008");
  jmethodID heartBeat = FindMethod(env, found.get(), "heartBeat", "([B)[B", "035", "009");
  jmethodID runtimeInfo =
      FindMethod(env, found.get(), "getRuntimeInfo", "()Ljava/lang/String;", "036", "010");
  if (m_jvm.IsStartingThread(env)) {
    m_class.store(found.Release());
  } else {
    ShareClass(env, found.get());
  }
  m_sendCommandMethod.store(sendCommand);
  m_heartBeatMethod.store(heartBeat);
  m_runtimeInfoMethod.store(runtimeInfo);
  m_known.store(true);
}

Jni::LocalReference<jclass> JavaReceiver::FindClass(JNIEnv* env) {
  Jni::LocalReference<jclass> found(env, env->FindClass(kReceiverClass));
  m_errors.Check(env, "033");
  if (!found) {
    m_errors.Raise("007. \nReinstall Ferrolink package");
  }
  return found;
}

jmethodID JavaReceiver::FindMethod(JNIEnv* env, jclass receiverClass, const char* name,
                                   const char* signature, const char* checkCode,
                                   const char* nullCode) {
  jmethodID method = env->GetStaticMethodID(receiverClass, name, signature);
  m_errors.Check(env, checkCode);
  if (method == nullptr) {
    m_errors.Raise(std::string(nullCode) + ". \nReinstall Ferrolink package");
  }
  return method;
}

// The starting thread uses its local reference until another thread comes; from then on all threads
// use one shared global reference. The first other thread makes it of its own FindClass result.
// Threads that come meanwhile use their own result for the one call, so no thread waits and exactly
// one global reference is made.
JavaReceiver::UsableClass JavaReceiver::ClassFor(JNIEnv* env) {
  if (jclass known = KnownClassFor(env)) {
    return {known, {}};
  }
  Jni::LocalReference<jclass> own = FindClass(env);
  if (jclass shared = ShareClass(env, own.get())) {
    return {shared, {}};
  }
  jclass usable = own.get();
  return {usable, std::move(own)};
}

// Null if another thread makes the reference at this moment, or if the JVM makes none.
jclass JavaReceiver::ShareClass(JNIEnv* env, jclass found) {
  if (m_sharingClass.exchange(true)) {
    return nullptr;
  }
  auto shared = static_cast<jclass>(env->NewGlobalRef(found));
  if (shared == nullptr) {
    Jni::ClearPendingException(env);
    m_sharingClass.store(false);
    return nullptr;
  }
  m_sharedClass.store(shared, std::memory_order_release);
  return shared;
}

std::string JavaReceiver::Describe() {
  if (!m_isClass || !m_jvm.HasEnvironment() || !IsKnown()) {
    return {};
  }
  const ReentryGuard guard(askingManagedRuntime);
  if (!guard.Outermost()) {
    return {};
  }
  try {
    const ThreadJniEnv thread(m_jvm.Vm());
    m_jvm.NoteAttachment(thread);
    return AskForInfo(thread.m_jniEnv);
  } catch (const std::exception&) {
    return {};
  }
}

std::string JavaReceiver::AskForInfo(JNIEnv* env) {
  const UsableClass receiverClass = ClassFor(env);
  const auto askJava = [&] {
    const InsideJava inside(*this, receiverClass.usable);
    return env->CallStaticObjectMethod(receiverClass.usable, m_runtimeInfoMethod.load());
  };
  Jni::LocalReference<jstring> text(env, static_cast<jstring>(askJava()));
  m_errors.Check(env, "028");
  if (!text) {
    return {};
  }
  Jni::StringCharacters characters(env, text.get());
  if (characters.get() == nullptr) {
    Jni::ClearPendingException(env);
    text.Reset();
    m_errors.Raise("029. Failed to get UTF chars");
  }
  m_errors.Check(env, "030");
  std::string info = characters.get();
  characters.Reset();
  m_errors.Check(env, "031");
  return info;
}
