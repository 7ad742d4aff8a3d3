#include "jvm/LauncherErrors.h"

#include <utility>

LauncherErrors::LauncherErrors(RuntimeInfo runtimeInfo) : m_runtimeInfo(std::move(runtimeInfo)) {}

void LauncherErrors::Raise(const std::string& text) const {
  RaiseAnew(FerrolinkNativeException("JVM Launcher: Exception code " + text, "Unknown"));
}

void LauncherErrors::Raise(const char* text) const {
  Raise(std::string(text));
}

void LauncherErrors::RaiseAnew(const FerrolinkNativeException& error) const {
  const std::string message = error.what();
  throw FerrolinkNativeException(message + "\nRUNTIME INFO:\n" + m_runtimeInfo(), "Unknown");
}

bool LauncherErrors::RaisePending(JNIEnv* env, const std::string& code, bool clear) const {
  if (env->ExceptionCheck() == JNI_FALSE) {
    return false;
  }
  env->ExceptionDescribe();
  if (clear) {
    env->ExceptionClear();
  }
  Raise(code + ". JVM exception occurred");
}

void LauncherErrors::RaisePending(JNIEnv* env, const char* code) const {
  RaisePending(env, code, true);
}
