// What the launcher says of itself and of its JVM.
#include "jvm/JvmLauncher.h"
#include "native/ReentryGuard.h"

using Ferrolink::Native::ReentryGuard;

namespace {

// Set while this thread asks the Java receiver to describe itself. An error in there is raised with
// runtime information like every other; asking Java again for that would never end.
FERROLINK_THREAD_LOCAL bool askingManagedRuntime = false;

// Four bits of each half are the version; the others are dropped.
std::string versionText(jint version) {
  const auto bits = static_cast<unsigned>(version);
  return std::to_string((bits >> 16U) & 0xFU) + "." + std::to_string(bits & 0xFU);
}

}  // namespace

std::string JvmLauncher::GetRuntimeName() {
  return m_runtimeName;
}

int JvmLauncher::GetVersion() {
  if (m_JvmEnv.load() == nullptr) {
    return 0;
  }
  try {
    const ThreadJniEnv thread(m_javaVM.load());
    return thread.m_jniEnv->GetVersion();
  } catch (const std::exception&) {
    return 0;
  }
}

std::string JvmLauncher::GetVersionString() {
  return versionText(GetVersion());
}

std::string JvmLauncher::GetRuntimeInfo() {
  const std::vector<std::string> libraries = m_libraries.list();
  std::string info;
  if (!libraries.empty()) {
    info += "Loaded custom libraries:\n";
    for (const std::string& library : libraries) {
      info += library + "\n";
    }
  }
  info += "\n";
  return info + GetRuntimeInfoFromManagedRuntime() + GetRuntimeInfoFromNativeLevel();
}

std::string JvmLauncher::GetRuntimeInfoFromNativeLevel() {
  return "JVM Native Launcher Runtime Info: \nJVM shared library search path: " +
         m_finder.libraryPath();
}

std::string JvmLauncher::GetRuntimeInfoFromManagedRuntime() {
  if (!m_launching || m_JvmEnv.load() == nullptr || !isReceiverKnown()) {
    return {};
  }
  const ReentryGuard guard(askingManagedRuntime);
  if (!guard.outermost()) {
    return {};
  }
  try {
    // The kept environment where this is the starting thread, the thread's own everywhere else.
    const ThreadJniEnv thread(m_javaVM.load());
    noteAttachment(thread);
    return askReceiverForInfo(thread.m_jniEnv);
  } catch (const std::exception&) {
    return {};
  }
}

std::string JvmLauncher::askReceiverForInfo(JNIEnv* env) {
  const ReceiverClass receiverClass = receiverClassFor(env);
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

// No second attempt to describe the Java side: the thread has just been refused.
void JvmLauncher::raiseFailedAttach() {
  const ReentryGuard guard(askingManagedRuntime);
  m_errors.raise("019. Failed to attach thread to JVM");
}
