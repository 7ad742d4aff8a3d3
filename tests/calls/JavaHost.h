#ifndef FERROLINK_TESTS_CALLS_JAVAHOST_H
#define FERROLINK_TESTS_CALLS_JAVAHOST_H

#include <jni.h>

#include <filesystem>
#include <string>
#include <vector>

/// A JVM that the process started by itself, as a Java program's launcher would: the library finds
/// it running. Belongs to the thread that made it and is never ended.
namespace FerrolinkTest {

class JavaHost {
 public:
  /// Starts the JVM of JAVA_HOME. Errors: std::runtime_error.
  JavaHost(const std::vector<std::filesystem::path>& classPath,
           const std::vector<std::string>& options);

  /// Runs `className.main(arguments)` on this thread. Throws std::runtime_error where Java throws;
  /// the stack trace is on standard error then.
  void runMain(const std::string& className, const std::vector<std::string>& arguments);

 private:
  JNIEnv* m_env = nullptr;
};

}  // namespace FerrolinkTest

#endif
