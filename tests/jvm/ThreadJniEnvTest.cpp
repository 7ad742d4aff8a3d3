// The scoped JNI environment of a thread, and the process-wide one.
#include "jvm/ThreadJniEnv.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "tests/jvm/LauncherFixture.h"

namespace Ferrolink::Tests {

PROCESS_CASE(freshThread) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  {
    const ThreadJniEnv thread(vm);
    Report(thread.m_jniEnv->GetVersion());
    Report(jvm.Counts().attachedThreads);
  }
  Report(jvm.Counts().attachedThreads);
  ReportAll(jvm.Calls());
}

TEST(ThreadJniEnv, AFreshThreadIsAttachedAndDetachedAgain) {
  ExpectReport("freshThread", {std::to_string(0x10008), "1", "0", "GetEnv(1.8)",
                               "AttachCurrentThread", "GetVersion", "DetachCurrentThread"});
}

PROCESS_CASE(attachedThread) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  jvm.ClearCalls();
  {
    const ThreadJniEnv outer(vm);
    const ThreadJniEnv inner(vm);
    Report(outer.m_jniEnv == env && inner.m_jniEnv == env);
  }
  ReportAll(jvm.Calls());
  Report(jvm.Counts().attachedThreads);
}

TEST(ThreadJniEnv, AnAttachedThreadIsLeftAttached) {
  ExpectReport("attachedThread", {"1", "GetEnv(1.8)", "GetEnv(1.8)", "1"});
}

PROCESS_CASE(nested) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  {
    const ThreadJniEnv outer(vm);
    {
      const ThreadJniEnv inner(vm);
      Report(outer.m_jniEnv == inner.m_jniEnv);
    }
    Report(jvm.Counts().attachedThreads);
  }
  Report(jvm.Counts().attachedThreads);
}

TEST(ThreadJniEnv, OnlyTheOneThatAttachedDetaches) {
  ExpectReport("nested", {"1", "1", "0"});
}

PROCESS_CASE(otherThreadDestroys) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  auto holder = std::make_unique<ThreadJniEnv>(vm);
  OnNewThread([&] { holder.reset(); });
  ReportAll(jvm.Calls());
  Report(jvm.Counts().attachedThreads);
}

TEST(ThreadJniEnv, ADestructionOnAnotherThreadDetachesNobody) {
  ExpectReport("otherThreadDestroys", {"GetEnv(1.8)", "AttachCurrentThread", "1"});
}

PROCESS_CASE(nullJvm) {
  Report(ThrownBy([] { const ThreadJniEnv thread(nullptr); }));
  Report(ThrownBy([] { getJniEnvForThread(nullptr); }));
}

TEST(ThreadJniEnv, ANullJvmRaisesWithoutPrinting) {
  const InstallationTree tree;
  const CaseOptions options = LoggedOptions(tree);
  const std::string error = "ThreadJniEnv: JavaVM pointer is null";
  const CaseResult result = ExpectReport("nullJvm", {error, error}, tree, options);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(LoggedErrors(tree), (Texts{error, error}));
}

namespace {

struct Refusal {
  const char* name;
  FakeJvm::Injection injection;
  const char* text;
  bool printed;
  Texts calls;
};

std::vector<Refusal> Refusals() {
  const char* const unknown = "ThreadJniEnv: unknown error getting JNI environment";
  const char* const noEnvironment = "ThreadJniEnv: m_jniEnv is nullptr after initialization";
  const Texts asked = {"GetEnv(1.8)"};
  const Texts attached = {"GetEnv(1.8)", "AttachCurrentThread"};
  return {
      {"AttachErr",
       {.call = "Attach", .result = JNI_ERR},
       "ThreadJniEnv: failed to attach thread to JVM",
       true,
       attached},
      {"AttachNoMemory",
       {.call = "Attach", .result = JNI_ENOMEM},
       "ThreadJniEnv: failed to attach thread to JVM",
       true,
       attached},
      {"AttachPositive",
       {.call = "Attach", .result = 1},
       "ThreadJniEnv: failed to attach thread to JVM",
       true,
       attached},
      {"Version",
       {.call = "GetEnv", .result = JNI_EVERSION},
       "ThreadJniEnv: JNI version not supported",
       true,
       asked},
      {"Err", {.call = "GetEnv", .result = JNI_ERR}, unknown, true, asked},
      {"NoMemory", {.call = "GetEnv", .result = JNI_ENOMEM}, unknown, true, asked},
      {"Positive", {.call = "GetEnv", .result = 1}, unknown, true, asked},
      {"NullAfterAttach",
       {.call = "Attach", .null = true},
       noEnvironment,
       false,
       {"GetEnv(1.8)", "AttachCurrentThread", "DetachCurrentThread"}},
  };
}

}  // namespace

PROCESS_CASE(refused) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  jvm.Inject(Refusals()[std::stoul(CaseArguments().front())].injection);
  Report(ThrownBy([&] { const ThreadJniEnv thread(vm); }));
  ReportAll(jvm.Calls());
  Report(jvm.Counts().attachedThreads);
  Report(ThrownBy([&] { const ThreadJniEnv thread(vm); }));
}

class ThreadJniEnvRefusal : public testing::TestWithParam<std::size_t> {};

TEST_P(ThreadJniEnvRefusal, IsPrintedRaisedAndLoggedAndLeavesNothingAttached) {
  const Refusal refusal = Refusals()[GetParam()];
  const InstallationTree tree;
  CaseOptions options = LoggedOptions(tree);
  options.arguments = {std::to_string(GetParam())};
  const CaseResult result = ExpectReport(
      "refused", Joined({{refusal.text}, refusal.calls, {"0", "(nothing thrown)"}}), tree, options);
  EXPECT_EQ(result.out, refusal.printed ? std::string(refusal.text) + "\n" : "");
  EXPECT_EQ(LoggedErrors(tree), Texts{refusal.text});
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, ThreadJniEnvRefusal,
                         testing::Range<std::size_t>(0, Refusals().size()),
                         [](const auto& refusal) { return Refusals()[refusal.param].name; });

PROCESS_CASE(nullAlthoughAttached) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  jvm.Inject({.call = "GetEnv", .null = true});
  Report(ThrownBy([&] { const ThreadJniEnv thread(vm); }));
  Report(jvm.Counts().attachedThreads);
}

TEST(ThreadJniEnv, ANullEnvironmentOfAnAttachedThreadRaisesAndLeavesItAttached) {
  ExpectReport("nullAlthoughAttached",
               {"ThreadJniEnv: m_jniEnv is nullptr after initialization", "1"});
}

PROCESS_CASE(processWide) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  JavaVM* otherVm = jvm.StartJvm();
  JNIEnv* env = getJniEnvForThread(vm);
  Report(env->GetVersion());
  OnNewThread([&] {
    Report(getJniEnvForThread(vm) == env);
    Report(getJniEnvForThread(otherVm) == env);
    Report(getJniEnvForThread(nullptr) == env);
  });
  ReportAll(jvm.Calls());
}

TEST(ThreadJniEnv, TheProcessWideHolderServesTheFirstCallersEnvironmentToEveryone) {
  ExpectReport("processWide", {std::to_string(0x10008), "1", "1", "1", "GetEnv(1.8)",
                               "AttachCurrentThread", "GetVersion"});
}

PROCESS_CASE(processWideFails) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  jvm.Inject({.call = "AttachCurrentThread", .result = -1});
  Report(ThrownBy([&] { getJniEnvForThread(vm); }));
  Report(getJniEnvForThread(vm)->GetVersion());
}

TEST(ThreadJniEnv, AFailedFirstCallLeavesTheProcessWideHolderEmpty) {
  ExpectReport("processWideFails",
               {"ThreadJniEnv: failed to attach thread to JVM", std::to_string(0x10008)});
}

PROCESS_CASE(processWideRace) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.StartJvm();
  OnNewThreads(8, [&](int) { Report(getJniEnvForThread(vm) != nullptr); });
  JNIEnv* env = getJniEnvForThread(nullptr);
  OnNewThreads(8, [&](int) { Report(getJniEnvForThread(nullptr) == env); });
}

TEST(ThreadJniEnv, FirstCallsThatRaceLeaveOneHolder) {
  ExpectReport("processWideRace", Texts(16, "1"));
}

PROCESS_CASE(tokens) {
  std::set<ThreadToken> seen = {CurrentThreadToken(), CurrentThreadToken()};
  Report(static_cast<long>(seen.size()));
  for (int i = 0; i < 50; ++i) {
    OnNewThread([&] { seen.insert(CurrentThreadToken()); });
  }
  Report(static_cast<long>(seen.size()));
}

TEST(ThreadJniEnv, NoTwoThreadsEverHaveTheSameToken) {
  ExpectReport("tokens", {"1", "51"});
}

}  // namespace Ferrolink::Tests
