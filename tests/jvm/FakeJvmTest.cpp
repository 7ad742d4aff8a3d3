// The fake JVM library notices broken rules of JNI; without that the other tests would prove
// little.
#include <gtest/gtest.h>

#include <csignal>

#include "jvm/ThreadJniEnv.h"
#include "tests/jvm/LauncherFixture.h"

namespace Ferrolink::Tests {
namespace {

constexpr const char* kClass = "com/ferrolink/core/receiver/Receiver";

struct BrokenRule {
  const char* name;
  const char* text;
  void (*breakIt)(FakeJvmClient& jvm, JNIEnv* env);
};

void LeaveExceptionPending(JNIEnv* env) {
  env->FindClass("no/such/Class");
}

const BrokenRule kBrokenRules[] = {
    {"EnvironmentOfAnotherThread", "GetVersion: JNIEnv of another thread",
     [](FakeJvmClient&, JNIEnv* env) { OnNewThread([=] { env->GetVersion(); }); }},
    {"EnvironmentAfterDetaching", "GetVersion: JNIEnv of a detached thread",
     [](FakeJvmClient& jvm, JNIEnv* env) {
       jvm.FirstJvm()->DetachCurrentThread();
       env->GetVersion();
     }},
    {"LocalReferenceOnAnotherThread", "GetArrayLength: local reference of another thread",
     [](FakeJvmClient& jvm, JNIEnv* env) {
       jbyteArray array = env->NewByteArray(1);
       OnNewThread([&] { ThreadJniEnv(jvm.FirstJvm()).m_jniEnv->GetArrayLength(array); });
     }},
    {"LocalReferenceAfterDetaching", "GetArrayLength: reference used after its end",
     [](FakeJvmClient& jvm, JNIEnv* env) {
       jbyteArray array = env->NewByteArray(1);
       jvm.FirstJvm()->DetachCurrentThread();
       ThreadJniEnv(jvm.FirstJvm()).m_jniEnv->GetArrayLength(array);
     }},
    {"DeletedReference", "DeleteLocalRef: reference used after its end",
     [](FakeJvmClient&, JNIEnv* env) {
       jbyteArray array = env->NewByteArray(1);
       env->DeleteLocalRef(array);
       env->DeleteLocalRef(array);
     }},
    {"NotAReference", "GetArrayLength: not a reference",
     [](FakeJvmClient& jvm, JNIEnv* env) {
       env->GetArrayLength(reinterpret_cast<jbyteArray>(&jvm));
     }},
    {"NullReference", "GetArrayLength: null reference",
     [](FakeJvmClient&, JNIEnv* env) { env->GetArrayLength(nullptr); }},
    {"WrongClass", "GetArrayLength: reference to an object of another class",
     [](FakeJvmClient&, JNIEnv* env) {
       env->GetArrayLength(reinterpret_cast<jbyteArray>(env->FindClass(kClass)));
     }},
    {"NullMethod", "CallStaticObjectMethodV: null method",
     [](FakeJvmClient&, JNIEnv* env) {
       env->CallStaticObjectMethod(env->FindClass(kClass), nullptr);
     }},
    {"NullClass", "CallStaticObjectMethodV(getRuntimeInfo): null reference",
     [](FakeJvmClient&, JNIEnv* env) {
       env->CallStaticObjectMethod(nullptr,
                                   env->GetStaticMethodID(env->FindClass(kClass), "getRuntimeInfo",
                                                          "()Ljava/lang/String;"));
     }},
    {"CallWithAnExceptionPending", "FindClass(x): called with a Java exception pending",
     [](FakeJvmClient&, JNIEnv* env) {
       LeaveExceptionPending(env);
       env->FindClass("x");
     }},
    {"DetachWithAnExceptionPending", "DetachCurrentThread: called with a Java exception pending",
     [](FakeJvmClient& jvm, JNIEnv* env) {
       LeaveExceptionPending(env);
       jvm.FirstJvm()->DetachCurrentThread();
     }},
    {"ForeignElements", "ReleaseByteArrayElements: not elements of this array",
     [](FakeJvmClient&, JNIEnv* env) {
       jbyteArray first = env->NewByteArray(1);
       jbyteArray second = env->NewByteArray(1);
       env->ReleaseByteArrayElements(second, env->GetByteArrayElements(first, nullptr), JNI_ABORT);
     }},
    {"ForeignCharacters", "ReleaseStringUTFChars: not characters of this string",
     [](FakeJvmClient&, JNIEnv* env) { env->ReleaseStringUTFChars(env->NewStringUTF("a"), "a"); }},
    {"LoneContinuationByte", "NewStringUTF: not modified UTF-8",
     [](FakeJvmClient&, JNIEnv* env) { env->NewStringUTF("a\x80"); }},
    {"CharacterOfFourBytes", "NewStringUTF: not modified UTF-8",
     [](FakeJvmClient&, JNIEnv* env) { env->NewStringUTF("\xF0\x9F\x98\x80"); }},
    {"CutCharacter", "NewStringUTF: not modified UTF-8",
     [](FakeJvmClient&, JNIEnv* env) { env->NewStringUTF("\xE2\x82"); }},
    {"GlobalDeletedAsLocal", "DeleteLocalRef: not a local reference",
     [](FakeJvmClient&, JNIEnv* env) {
       env->DeleteLocalRef(env->NewGlobalRef(env->NewByteArray(1)));
     }},
    {"LocalDeletedAsGlobal", "DeleteGlobalRef: not a global reference",
     [](FakeJvmClient&, JNIEnv* env) { env->DeleteGlobalRef(env->NewByteArray(1)); }},
    {"UnimplementedSlot", "GetSuperclass: not implemented",
     [](FakeJvmClient&, JNIEnv* env) { env->GetSuperclass(nullptr); }},
    {"UnimplementedInvocationSlot", "AttachCurrentThreadAsDaemon: not implemented",
     [](FakeJvmClient& jvm, JNIEnv* env) {
       void* daemon = env;
       jvm.FirstJvm()->AttachCurrentThreadAsDaemon(&daemon, nullptr);
     }},
};

}  // namespace

PROCESS_CASE(breakRule) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  kBrokenRules[std::stoul(CaseArguments().front())].breakIt(jvm, env);
}

class FakeJvmRule : public testing::TestWithParam<std::size_t> {};

TEST_P(FakeJvmRule, EndsTheProcessWithATextWhenItIsBroken) {
  const InstallationTree tree;
  CaseOptions options;
  options.arguments = {std::to_string(GetParam())};
  const CaseResult result = RunCase("breakRule", tree, options);
  EXPECT_EQ(result.signal, SIGABRT);
  EXPECT_EQ(result.err, std::string("FakeJvm: ") + kBrokenRules[GetParam()].text + "\n");
}

INSTANTIATE_TEST_SUITE_P(Each, FakeJvmRule, testing::Range<std::size_t>(0, std::size(kBrokenRules)),
                         [](const auto& rule) { return kBrokenRules[rule.param].name; });

PROCESS_CASE(countsLeaks) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  jbyteArray array = env->NewByteArray(3);
  jstring text = env->NewStringUTF("text");
  jobject global = env->NewGlobalRef(array);
  jbyte* elements = env->GetByteArrayElements(array, nullptr);
  const char* characters = env->GetStringUTFChars(text, nullptr);
  Report(Outstanding(jvm));
  env->ReleaseByteArrayElements(array, elements, JNI_ABORT);
  env->ReleaseStringUTFChars(text, characters);
  env->DeleteGlobalRef(global);
  env->DeleteLocalRef(text);
  Report(Outstanding(jvm));
  vm->DetachCurrentThread();
  Report(Outstanding(jvm));
}

TEST(FakeJvm, CountsWhatIsOutstanding) {
  ExpectReport("countsLeaks", {"local 2 global 1 elements 1 characters 1 attached 1 dropped 0",
                               "local 1 global 0 elements 0 characters 0 attached 1 dropped 0",
                               "local 0 global 0 elements 0 characters 0 attached 0 dropped 1"});
}

PROCESS_CASE(everySlot) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  const ThreadJniEnv thread(jvm.StartJvm());
  const auto* slots = reinterpret_cast<void* const*>(thread.m_jniEnv->functions);
  const auto* invocation = reinterpret_cast<void* const*>(jvm.FirstJvm()->functions);
  Report(std::count(slots, slots + sizeof(JNINativeInterface_) / sizeof(void*), nullptr));
  Report(std::count(invocation, invocation + sizeof(JNIInvokeInterface_) / sizeof(void*), nullptr));
}

TEST(FakeJvm, HasNoEmptySlot) {
  ExpectReport("everySlot", {"0", "0"});
}

}  // namespace Ferrolink::Tests
