#include "tests/jvm/FakeJavaHost.h"

#include <gtest/gtest.h>

#define TRANSMITTER_WRAPPER(result, method) \
  JNIEXPORT result JNICALL Java_com_ferrolink_core_transmitter_TransmitterWrapper_##method

extern "C" {
TRANSMITTER_WRAPPER(jint, sendCommand)(JNIEnv* env, jobject self, jbyteArray message);
TRANSMITTER_WRAPPER(jint, readResponse)(JNIEnv* env, jobject self, jbyteArray buffer);
TRANSMITTER_WRAPPER(jint, setEmbeddedRuntime)
(JNIEnv* env, jobject self, jint calling, jint called, jint argument, jstring path);
TRANSMITTER_WRAPPER(jint, deployRuntime)
(JNIEnv* env, jobject self, jbyteArray message, jstring path, jint flag);
TRANSMITTER_WRAPPER(jint, setConfigSource)(JNIEnv* env, jobject self, jstring source);
TRANSMITTER_WRAPPER(jint, setWorkingDirectory)(JNIEnv* env, jobject self, jstring path);
TRANSMITTER_WRAPPER(jstring, getNativeError)(JNIEnv* env, jobject self);
TRANSMITTER_WRAPPER(void, setCallback)(JNIEnv* env, jobject self, jobject callback);
}

#define NATIVE(method) Java_com_ferrolink_core_transmitter_TransmitterWrapper_##method

namespace Ferrolink::Tests {

JavaThread::JavaThread(JavaVM* vm) : m_vm(vm) {
  vm->AttachCurrentThread(reinterpret_cast<void**>(&m_env), nullptr);
}

JavaThread::~JavaThread() {
  m_vm->DetachCurrentThread();
}

jbyteArray JavaThread::Array(const Bytes& bytes) const {
  const auto size = static_cast<jsize>(bytes.size());
  jbyteArray made = m_env->NewByteArray(size);
  m_env->SetByteArrayRegion(made, 0, size, reinterpret_cast<const jbyte*>(bytes.data()));
  return made;
}

jstring JavaThread::String(const std::string& modifiedUtf8) const {
  return m_env->NewStringUTF(modifiedUtf8.c_str());
}

Bytes JavaThread::Contents(jbyteArray array) const {
  Bytes bytes(static_cast<std::size_t>(m_env->GetArrayLength(array)));
  m_env->GetByteArrayRegion(array, 0, static_cast<jsize>(bytes.size()),
                            reinterpret_cast<jbyte*>(bytes.data()));
  return bytes;
}

jint JavaThread::sendCommand(jbyteArray message) const {
  return NATIVE(sendCommand)(m_env, nullptr, message);
}

jint JavaThread::readResponse(jbyteArray buffer) const {
  return NATIVE(readResponse)(m_env, nullptr, buffer);
}

jint JavaThread::setEmbeddedRuntime(jint calling, jint called, jint argument, jstring path) const {
  return NATIVE(setEmbeddedRuntime)(m_env, nullptr, calling, called, argument, path);
}

jint JavaThread::deployRuntime(jbyteArray message, jstring path, jint flag) const {
  return NATIVE(deployRuntime)(m_env, nullptr, message, path, flag);
}

jint JavaThread::setConfigSource(jstring source) const {
  return NATIVE(setConfigSource)(m_env, nullptr, source);
}

jint JavaThread::setWorkingDirectory(jstring path) const {
  return NATIVE(setWorkingDirectory)(m_env, nullptr, path);
}

jstring JavaThread::getNativeError() const {
  return NATIVE(getNativeError)(m_env, nullptr);
}

void JavaThread::setCallback(jobject callback) const {
  NATIVE(setCallback)(m_env, nullptr, callback);
}

std::string JavaThread::NativeError() const {
  jstring text = getNativeError();
  if (text == nullptr) {
    return "(null)";
  }
  const char* characters = m_env->GetStringUTFChars(text, nullptr);
  std::string copy = characters;
  m_env->ReleaseStringUTFChars(text, characters);
  m_env->DeleteLocalRef(text);
  return copy;
}

std::string JavaThread::Outcome(jint result) const {
  return std::to_string(result) + (result < 0 ? ": " + NativeError() : "");
}

std::string FakeJavaHost::Left(const FakeJvm::Counts& before) {
  const FakeJvm::Counts after = jvm.Counts();
  std::string text;
  const auto add = [&](const char* name, long number) {
    if (number != 0) {
      text += (text.empty() ? "" : " ") + std::string(name) + " " + std::to_string(number);
    }
  };
  add("local", after.localReferences - before.localReferences);
  add("global", after.globalReferences - before.globalReferences);
  add("elements", after.elements - before.elements);
  add("characters", after.characters - before.characters);
  add("attached", after.attachedThreads - before.attachedThreads);
  add("pending", thread.Env()->ExceptionCheck());
  return text.empty() ? "nothing" : text;
}

void FakeJavaHost::ReportCall(const std::function<jint()>& method) {
  jint result = 0;
  const FakeJvm::Counts before = jvm.Counts();
  jvm.ClearCalls();
  result = method();
  const std::string calls = Words(jvm.Calls());
  const std::string leftBehind = Left(before);
  Report(thread.Outcome(result));
  Report(calls);
  Report(leftBehind);
}

void FakeJavaHost::ReportVoidCall(const std::function<void()>& method) {
  const FakeJvm::Counts before = jvm.Counts();
  jvm.ClearCalls();
  method();
  Report(Words(jvm.Calls()));
  Report(Left(before));
}

CallerTree::CallerTree() {
  AddRuntime("Cpp", FAKESIBLING_PATH);
  AddRuntime("Jvm", FAKESIBLING_PATH);
  AddLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
}

void CallerTree::Expect(const std::string& name, const Texts& expected,
                        const CaseOptions& options) {
  const CaseResult result = Run(name, options);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.report, expected) << result.err;
}

std::string CallerTree::LastCall() const {
  const std::string all = Calls();
  return all.size() < 2 ? "" : all.substr(all.rfind('\n', all.size() - 2) + 1);
}

CaseOptions ThrowingIn(const char* operation) {
  CaseOptions options;
  options.environment["FAKE_SIBLING_THROW"] = "libFerrolinkCppRuntimeNative.so";
  options.environment["FAKE_SIBLING_THROW_IN"] = operation;
  return options;
}

std::string Words(const Texts& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all += (all.empty() ? "" : " ") + text;
  }
  return all;
}

}  // namespace Ferrolink::Tests
