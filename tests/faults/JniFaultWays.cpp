#include "tests/faults/JniFaultWays.h"

#include <algorithm>
#include <array>

namespace Ferrolink::Tests {
namespace {

bool StartsWith(const std::string& text, const std::string& start) {
  return text.rfind(start, 0) == 0;
}

// Whether a line of the text starts with this, which may contain line breaks.
bool HasLine(const std::string& text, const std::string& start) {
  return ("\n" + text).find("\n" + start) != std::string::npos;
}

bool IsOneOf(const std::string& call, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(),
                     [&](const char* name) { return StartsWith(call, name); });
}

/// A call, and the starts of the error texts that its failures may cause.
struct Errors {
  const char* call;
  std::vector<const char*> errors;
};

// One of these starts every text that a failure may cause, unless the work goes on.
const std::vector<Errors>& ErrorsOfCalls() {
  static const std::vector<Errors> all = {
      {"JNI_GetCreatedJavaVMs", {"JVM Launcher: Exception code 018. JVM not initialized\n"}},
      {"GetJavaVM", {"JVM Launcher: Exception code 018. JVM not initialized\n"}},
      {"GetEnv",
       {"JVM Launcher: Exception code 019. Failed to attach thread to JVM\n",
        "JVM Launcher: Exception code 005. ", "JVM Launcher: Exception code 006. ",
        "ThreadJniEnv: ", "0.0"}},
      {"AttachCurrentThread",
       {"JVM Launcher: Exception code 019. Failed to attach thread to JVM\n",
        "JVM Launcher: Exception code 005. ", "JVM Launcher: Exception code 006. ",
        "ThreadJniEnv: "}},
      {"FindClass(com",
       {"JVM Launcher: Exception code 007. \n", "JVM Launcher: Exception code 033. "}},
      {"FindClass([B", {"JVM Launcher: Exception code 025. "}},
      {"GetStaticMethodID(sendCommand",
       {"JVM Launcher: Exception code 008. \n", "JVM Launcher: Exception code 034. "}},
      {"GetStaticMethodID(heartBeat",
       {"JVM Launcher: Exception code 009. \n", "JVM Launcher: Exception code 035. "}},
      {"GetStaticMethodID(getRuntimeInfo",
       {"JVM Launcher: Exception code 010. \n", "JVM Launcher: Exception code 036. "}},
      {"NewByteArray",
       {"JVM Launcher: Exception code 020. ", "JVM Launcher: Exception code 021. "}},
      {"SetByteArrayRegion", {"JVM Launcher: Exception code 022. "}},
      {"CallStaticObjectMethodV",
       {"JVM Launcher: Exception code 023. ", "JVM Launcher: Exception code 024. "}},
      {"CallObjectMethodV",
       {"JVM Launcher: Exception code 023. ", "JVM Launcher: Exception code 024. "}},
      {"GetByteArrayElements",
       {"JVM Launcher: Exception code 025. ", "JVM Launcher: Exception code 026. ",
        "-2: JVM Lib: Exception code 001. ", "-5: JVM Lib: Exception code 001. "}},
      {"GetArrayLength", {"JVM Launcher: Exception code 027. "}},
      {"NewLocalRef", {"JVM Launcher: Exception code 032. "}},
      {"NewGlobalRef",
       {"JVM Launcher: Exception code 032. ", "JVM Launcher: Exception code 025. "}},
      {"GetObjectClass", {"JVM Launcher: Exception code 032. "}},
      {"GetMethodID(apply", {"JVM Launcher: Exception code 032. "}},
      {"GetStringUTFChars",
       {"-4: basic_string::_M_construct null not valid\n",
        "-5: basic_string::_M_construct null not valid\n",
        "-6: basic_string::_M_construct null not valid\n",
        "-7: basic_string::_M_construct null not valid\n"}},
      {"NewStringUTF", {"null"}},
  };
  return all;
}

const JniFaultWay kNull{"yields null", {.null = true}};
const JniFaultWay kNullAndThrown{"yields null and throws", {.null = true, .exception = true}};
const JniFaultWay kThrown{"throws", {.exception = true}};

JniFaultWay Refused(jint result) {
  return {"returns " + std::to_string(result), {.result = result}};
}

bool AsksJavaForInfo(const std::string& call) {
  return IsOneOf(call, {"GetEnv", "AttachCurrentThread", "FindClass(com",
                        "CallStaticObjectMethodV(getRuntimeInfo", "GetStringUTFChars",
                        "ReleaseStringUTFChars"});
}

// Whether `outcome` lacks the text from Java at one of the places where `undisturbed` has it, and
// is otherwise equal.
bool LacksOnlyInfo(const std::string& outcome, const std::string& undisturbed) {
  const std::string info = "Fake JVM\n";
  for (auto at = undisturbed.find(info); at != std::string::npos;
       at = undisturbed.find(info, at + info.size())) {
    std::string without = undisturbed;
    without.erase(at, info.size());
    if (without == outcome) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::vector<JniFaultWay> WaysToFail(const std::string& call, bool launcher) {
  if (IsOneOf(call, {"JNI_CreateJavaVM"})) {
    return {Refused(-1), Refused(-2), Refused(-3), Refused(-4), Refused(-5), Refused(-6)};
  }
  if (IsOneOf(call, {"JNI_GetCreatedJavaVMs", "GetJavaVM"})) {
    return {Refused(JNI_ERR)};
  }
  if (IsOneOf(call, {"GetEnv"})) {
    return {Refused(JNI_ERR), Refused(JNI_EVERSION), kNull};
  }
  if (IsOneOf(call, {"AttachCurrentThread"})) {
    return {Refused(JNI_ERR), Refused(JNI_ENOMEM), kNull};
  }
  if (IsOneOf(call, {"NewLocalRef", "GetObjectClass"})) {
    return {kNull};
  }
  std::vector<JniFaultWay> ways;
  if (IsOneOf(call, {"FindClass", "GetStaticMethodID", "GetMethodID", "NewGlobalRef",
                     "NewByteArray", "NewStringUTF", "GetByteArrayElements", "GetStringUTFChars",
                     "CallStaticObjectMethodV", "CallObjectMethodV"})) {
    ways = {kNull, kNullAndThrown};
  }
  if (launcher &&
      IsOneOf(call, {"FindClass(com", "GetStaticMethodID", "NewByteArray", "SetByteArrayRegion",
                     "GetByteArrayElements", "GetArrayLength", "GetStringUTFChars",
                     "ReleaseStringUTFChars", "CallStaticObjectMethodV", "CallObjectMethodV"})) {
    ways.push_back(kThrown);
  }
  return ways;
}

bool MayEndIn(const std::string& call, const std::string& outcome, const std::string& undisturbed) {
  if (AsksJavaForInfo(call) && LacksOnlyInfo(outcome, undisturbed)) {
    return true;
  }
  for (const Errors& entry : ErrorsOfCalls()) {
    if (StartsWith(call, entry.call)) {
      return std::any_of(entry.errors.begin(), entry.errors.end(),
                         [&](const char* error) { return HasLine(outcome, error); });
    }
  }
  return false;
}

bool MayEndProcess(const std::string& call, const JniFaultWay& way, const std::string& output) {
  // Without a list of JVMs, the launcher creates one more, which fails with 015.
  const bool creating = StartsWith(call, "JNI_CreateJavaVM");
  if (!creating && !StartsWith(call, "JNI_GetCreatedJavaVMs")) {
    return false;
  }
  const std::string number = std::to_string(creating ? -*way.fault.result : 5);
  return output.find("JVM Launcher: Exception code 01" + number + "\n") != std::string::npos;
}

}  // namespace Ferrolink::Tests
