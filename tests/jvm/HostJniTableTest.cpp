// The host helper's own declarations of JNI, held to those of a JDK, for the most part by the
// compiler.
#include <gtest/gtest.h>
#include <jni.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "ferrolink/detail/JvmLibrary.h"

namespace {

using Ferrolink::Host::detail::JavaVm;
using Functions = JavaVm::Functions;

static_assert(std::is_same_v<jint, std::int32_t>);
static_assert(std::is_same_v<jsize, std::int32_t>);
static_assert(JavaVm::kDetached == JNI_EDETACHED);
static_assert(JavaVm::kVersion8 == JNI_VERSION_1_8);

// A JVM is a pointer to its table, and nothing else.
static_assert(sizeof(JavaVm) == sizeof(JavaVM));
static_assert(offsetof(JavaVm, functions) == offsetof(JavaVM, functions));
static_assert(sizeof(Functions) == sizeof(JNIInvokeInterface_));

// The signature of a function of the helper's table, with the JDK's type of a JVM.
template <class Function>
struct AsInJdk;
template <class Result, class... Arguments>
struct AsInJdk<Result (*)(JavaVm*, Arguments...)> {
  using Type = Result(JNICALL*)(JavaVM*, Arguments...);
};

#define HAS_THE_SLOT_OF_THE_JDK(name)                                              \
  static_assert(offsetof(Functions, name) == offsetof(JNIInvokeInterface_, name)); \
  static_assert(std::is_same_v<AsInJdk<decltype(Functions::name)>::Type,           \
                               decltype(JNIInvokeInterface_::name)>)
HAS_THE_SLOT_OF_THE_JDK(DestroyJavaVM);
HAS_THE_SLOT_OF_THE_JDK(AttachCurrentThread);
HAS_THE_SLOT_OF_THE_JDK(DetachCurrentThread);
HAS_THE_SLOT_OF_THE_JDK(GetEnv);
HAS_THE_SLOT_OF_THE_JDK(AttachCurrentThreadAsDaemon);
#undef HAS_THE_SLOT_OF_THE_JDK

// A JVM with the JDK's table, of which the helper calls GetEnv.
jint envResult = JNI_OK;
jint askedVersion = 0;

jint JNICALL GetEnv(JavaVM* /*vm*/, void** /*env*/, jint version) {
  askedVersion = version;
  return envResult;
}

bool KnowsThisThread() {
  JNIInvokeInterface_ table{};
  table.GetEnv = &GetEnv;
  JavaVM vm{&table};
  return reinterpret_cast<JavaVm*>(&vm)->KnowsThisThread();
}

}  // namespace

TEST(HostJniTable, AsksTheJvmOfAJdkForTheThreadsEnvironment) {
  EXPECT_TRUE(KnowsThisThread());
  EXPECT_EQ(askedVersion, JNI_VERSION_1_8);
  envResult = JNI_EDETACHED;
  EXPECT_FALSE(KnowsThisThread());
  envResult = JNI_EVERSION;
  EXPECT_TRUE(KnowsThisThread());
}
