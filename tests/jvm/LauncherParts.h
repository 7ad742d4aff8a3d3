#ifndef FERROLINK_TESTS_JVM_LAUNCHERPARTS_H
#define FERROLINK_TESTS_JVM_LAUNCHERPARTS_H

#include <cstdlib>
#include <string>

#include "jvm/LauncherErrors.h"
#include "tests/jvm/LauncherFixture.h"

/// For the tests of what a launcher is put together from.
namespace FerrolinkTest {

/// What each part is given, and the fake JVM library. For bodies of process cases.
struct PartsFixture {
  LauncherErrors errors{[] { return std::string("the information"); }};
  FakeJvmClient jvm{std::getenv("FERROLINK_JVM_RUNTIME_PATH")};

  /// The calling thread's environment in `vm`, to which it is attached.
  static JNIEnv* attach(JavaVM* vm) {
    JNIEnv* env = nullptr;
    vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    return env;
  }
};

/// The whole text of an error that PartsFixture::errors raises.
inline std::string raised(const std::string& text) {
  return "JVM Launcher: Exception code " + text + "\nRUNTIME INFO:\nthe information";
}

}  // namespace FerrolinkTest

#endif
