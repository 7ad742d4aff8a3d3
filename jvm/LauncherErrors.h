#ifndef FERROLINK_JVM_LAUNCHERERRORS_H
#define FERROLINK_JVM_LAUNCHERERRORS_H

#include <jni.h>

#include <functional>
#include <string>

#include "native/FerrolinkNativeException.h"

/// Raises the launcher's errors, as FerrolinkNativeException. Every text ends with
/// "\nRUNTIME INFO:\n" and the runtime information, which is asked for when an error is raised.
/// The launcher supplies that information, so its parts raise complete errors without knowing it.
/// Immutable. Thread-safe as far as the supplied function is.
class LauncherErrors {
 public:
  using RuntimeInfo = std::function<std::string()>;

  explicit LauncherErrors(RuntimeInfo runtimeInfo);
  LauncherErrors(const LauncherErrors&) = delete;
  LauncherErrors& operator=(const LauncherErrors&) = delete;
  ~LauncherErrors() = default;

  /// Raises "JVM Launcher: Exception code " and `text`.
  [[noreturn]] void Raise(const std::string& text) const;
  [[noreturn, gnu::cold]] void Raise(const char* text) const;

  /// Raises a new error with the text of `error` and the runtime information.
  [[noreturn]] void RaiseAnew(const FerrolinkNativeException& error) const;

  /// False if no Java exception is pending. Otherwise the JVM describes it on standard error, it is
  /// cleared if `clear`, and the code is raised.
  bool RaisePending(JNIEnv* env, const std::string& code, bool clear) const;

  /// As RaisePending with `clear`. Only the check is inlined.
  void Check(JNIEnv* env, const char* code) const {
    if (env->ExceptionCheck() != JNI_FALSE) [[unlikely]] {
      RaisePending(env, code);
    }
  }

 private:
  [[gnu::cold]] void RaisePending(JNIEnv* env, const char* code) const;

  const RuntimeInfo m_runtimeInfo;
};

#endif
