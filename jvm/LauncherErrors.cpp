#include "jvm/LauncherErrors.h"

#include <utility>

LauncherErrors::LauncherErrors(RuntimeInfo runtimeInfo) : m_runtimeInfo(std::move(runtimeInfo)) {}

void LauncherErrors::raise(const std::string& text) const {
  raiseAnew(FerrolinkNativeException("JVM Launcher: Exception code " + text, "Unknown"));
}

void LauncherErrors::raise(const char* text) const {
  raise(std::string(text));
}

void LauncherErrors::raiseAnew(const FerrolinkNativeException& error) const {
  const std::string message = error.what();
  throw FerrolinkNativeException(message + "\nRUNTIME INFO:\n" + m_runtimeInfo(), "Unknown");
}

bool LauncherErrors::raisePending(JNIEnv* env, const std::string& code, bool clear) const {
  if (env->ExceptionCheck() == JNI_FALSE) {
    return false;
  }
  env->ExceptionDescribe();
  if (clear) {
    env->ExceptionClear();
  }
  raise(code + ". JVM exception occurred");
}

void LauncherErrors::raisePending(JNIEnv* env, const char* code) const {
  raisePending(env, code, true);
}
