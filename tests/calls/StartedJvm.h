#ifndef FERROLINK_TESTS_CALLS_STARTEDJVM_H
#define FERROLINK_TESTS_CALLS_STARTEDJVM_H

#include <jni.h>

#include <filesystem>
#include <string>
#include <vector>

/// A JVM that the process started by itself, as a Java program's launcher would: the library finds
/// it running. Belongs to the thread that made it and is never ended.
namespace Ferrolink::Tests {

class StartedJvm {
 public:
  /// Starts the JVM of JAVA_HOME. Errors: std::runtime_error.
  StartedJvm(const std::vector<std::filesystem::path>& classPath,
             const std::vector<std::string>& options);

  /// Runs `ClassName.main(arguments)` on this thread. Throws std::runtime_error where Java throws;
  /// the stack trace is on standard error then.
  void RunMain(const std::string& className, const std::vector<std::string>& arguments);

 private:
  JNIEnv* m_env = nullptr;
};

}  // namespace Ferrolink::Tests

#endif
