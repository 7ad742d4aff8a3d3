#ifndef FERROLINK_TESTS_FAKES_JVM_FAKEJVM_H
#define FERROLINK_TESTS_FAKES_JVM_FAKEJVM_H

#include <jni.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// A JVM library without a JVM. It records every JNI call, counts what was not released, and
/// answers as the test says. It ends the process with a text if a rule of JNI is broken: an
/// environment or a local reference on a foreign thread, a local reference of an outer frame, a
/// reference after its end, a call that is not allowed while an exception is pending.
///
/// Tests open it by path and find the functions at the end of this file with dlsym; the class
/// FakeJvmClient does that. If FAKE_JVM_CALLS is set, every call is also appended to that file,
/// also the calls made while the process exits.
namespace Ferrolink::Tests::FakeJvm {

/// Makes calls fail. Only the given effects happen: an exception alone leaves the call's result as
/// it is.
struct Injection {
  std::string call;        ///< how the recorded call starts, say "GetStaticMethodID(heartBeat"
  int occurrence = 1;      ///< counted from the injection on; 0 means every one
  bool null = false;       ///< yields null (GetEnv: success with a null environment)
  bool exception = false;  ///< leaves a Java exception pending
  std::optional<jint> result{};  ///< yields this number and does nothing else
};

enum class Answer { Echo, Bytes, Throw, Null, Text };  // Text: a string instead of bytes

/// The behaviour of a method that takes and returns bytes.
struct Method {
  Answer answer = Answer::Echo;
  std::vector<std::uint8_t> bytes;  ///< for Answer::Bytes
};

/// The Java side's behaviour. Changed by tests only while no other thread is in a JNI call.
struct Script {
  Method sendCommand;
  Method heartBeat{Answer::Bytes, {'b', 'e', 'a', 't'}};
  Method apply;
  Answer runtimeInfo = Answer::Echo;  ///< Echo: runtimeInfoText
  std::string runtimeInfoText = "Fake JVM\n";
  std::function<void()> insideJava;         ///< run on the calling thread by the three byte methods
  std::function<void()> insideRuntimeInfo;  ///< run on the calling thread by getRuntimeInfo
  std::function<void()> insideFindClass;  ///< run on the calling thread by FindClass: initialisers
  jint createResult = JNI_OK;             ///< other results create nothing
  bool createDespiteResult = false;
  jsize unlistedJvms = 0;  ///< how many JNI_GetCreatedJavaVMs counts but does not list
  jint jniVersion = 0x00010008;
  bool environmentDespiteRefusal = false;  ///< a refused attachment leaves an address, of nothing
  bool reuseEnvironments = true;  ///< an attached thread is given the last detached JNIEnv address
};

/// The resources that were not released yet.
struct Counts {
  long localReferences = 0;   ///< live ones of all threads, class references included
  long globalReferences = 0;  ///< live ones, registered callbacks excluded
  long elements = 0;          ///< byte array elements that were not released
  long characters = 0;        ///< string characters that were not released
  long attachedThreads = 0;
  long droppedByDetach = 0;  ///< local references that a detaching thread had left, in total
};

struct Call {
  unsigned long thread = 0;  ///< as FakeJvmCurrentThread says
  std::string text;
};

/// The arguments of JNI_CreateJavaVM.
struct Creation {
  unsigned long thread = 0;
  jint version = 0;
  bool ignoreUnrecognized = false;
  bool extraInfo = false;  ///< any option's extra information is set
  std::vector<std::string> options;
};

}  // namespace Ferrolink::Tests::FakeJvm

extern "C" {
Ferrolink::Tests::FakeJvm::Script* FakeJvmScript();
void FakeJvmInject(const Ferrolink::Tests::FakeJvm::Injection* injection);
void FakeJvmClearInjections();
void FakeJvmCalls(std::vector<Ferrolink::Tests::FakeJvm::Call>* calls);
void FakeJvmClearCalls();
void FakeJvmCounts(Ferrolink::Tests::FakeJvm::Counts* counts);
void FakeJvmCreations(std::vector<Ferrolink::Tests::FakeJvm::Creation>* creations);
unsigned long FakeJvmCurrentThread();

/// Starts a JVM as another library of the process would, and returns it. Attaches no thread.
JavaVM* FakeJvmStartJvm();

/// Ends the calling thread's local references, as the return of a native method to Java does.
void FakeJvmReturnToJava();

/// The first JVM of the process, null before there is one.
JavaVM* FakeJvmFirstJvm();

/// A local reference of the calling thread to an object with the method apply(Object), or to one
/// without any method.
jobject FakeJvmMakeObject(bool withApply);

/// A callback object with the method apply(Object), as a global reference of the Java side's.
void FakeJvmMakeCallback(jobject* object, jmethodID* method);
}

#endif
