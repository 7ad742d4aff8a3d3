// The owners of JNI references: each reference is released once, by its owner.
#include "jvm/JniReferences.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/jvm/LauncherParts.h"

namespace Ferrolink::Tests {

namespace Jni = Ferrolink::Runtimes::Jvm::Native::Jni;
namespace {

struct ReferencesFixture : PartsFixture {
  JNIEnv* env = Attach(jvm.StartJvm());
  const Jni::LocalReference<jobject> object{env, jvm.MakeObject(true)};

  void ReportGlobals() { Report(jvm.Counts().globalReferences); }
};

}  // namespace

PROCESS_CASE(ownsGlobal) {
  ReferencesFixture parts;
  {
    const auto global = Jni::MakeGlobal(parts.env, parts.object.get());
    Report(static_cast<bool>(global));
    parts.ReportGlobals();
  }
  parts.ReportGlobals();
}

TEST(JniReferences, AGlobalReferenceEndsWithItsOwner) {
  ExpectReport("ownsGlobal", {"1", "1", "0"});
}

PROCESS_CASE(movesGlobal) {
  ReferencesFixture parts;
  auto first = Jni::MakeGlobal(parts.env, parts.object.get());
  auto second = Jni::MakeGlobal(parts.env, parts.object.get());
  parts.ReportGlobals();
  first = std::move(second);
  parts.ReportGlobals();
  auto third = std::move(first);
  parts.ReportGlobals();
  third.Reset();
  parts.ReportGlobals();
}

TEST(JniReferences, AnAssignedOwnerReleasesWhatItOwnedBefore) {
  ExpectReport("movesGlobal", {"2", "1", "1", "0"});
}

PROCESS_CASE(givesGlobalUp) {
  ReferencesFixture parts;
  jobject shared = Jni::MakeGlobal(parts.env, parts.object.get()).Release();
  parts.ReportGlobals();
  OnNewThread([&] {
    const Jni::GlobalReference<jobject> adopted(PartsFixture::Attach(parts.jvm.FirstJvm()), shared);
    parts.ReportGlobals();
  });
  parts.ReportGlobals();
}

TEST(JniReferences, AGlobalReferenceThatWasGivenUpMayEndOnAnotherThread) {
  ExpectReport("givesGlobalUp", {"1", "1", "0"});
}

PROCESS_CASE(globalIsRefused) {
  ReferencesFixture parts;
  parts.jvm.Inject({.call = "NewGlobalRef", .null = true, .exception = true});
  const auto global = Jni::MakeGlobal(parts.env, parts.object.get());
  Report(static_cast<bool>(global));
  Report(parts.env->ExceptionCheck() != JNI_FALSE);
  parts.env->ExceptionClear();
}

TEST(JniReferences, AGlobalReferenceThatTheJvmRefusesIsNullAndLeavesTheExceptionPending) {
  ExpectReport("globalIsRefused", {"0", "1"});
}

}  // namespace Ferrolink::Tests
