// The scoped JNI environment of a thread, and the process-wide one.
#include "jvm/ThreadJniEnv.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "tests/jvm/LauncherFixture.h"

namespace FerrolinkTest {

PROCESS_CASE(freshThread) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.startJvm();
  {
    const ThreadJniEnv thread(vm);
    report(thread.m_jniEnv->GetVersion());
    report(jvm.counts().attachedThreads);
  }
  report(jvm.counts().attachedThreads);
  reportAll(jvm.calls());
}

TEST(ThreadJniEnv, AFreshThreadIsAttachedAndDetachedAgain) {
  expectReport("freshThread", {std::to_string(0x10008), "1", "0", "GetEnv(1.8)",
                               "AttachCurrentThread", "GetVersion", "DetachCurrentThread"});
}

PROCESS_CASE(attachedThread) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.startJvm();
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  jvm.clearCalls();
  {
    const ThreadJniEnv outer(vm);
    const ThreadJniEnv inner(vm);
    report(outer.m_jniEnv == env && inner.m_jniEnv == env);
  }
  reportAll(jvm.calls());
  report(jvm.counts().attachedThreads);
}

TEST(ThreadJniEnv, AnAttachedThreadIsLeftAttached) {
  expectReport("attachedThread", {"1", "GetEnv(1.8)", "GetEnv(1.8)", "1"});
}

PROCESS_CASE(nested) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.startJvm();
  {
    const ThreadJniEnv outer(vm);
    {
      const ThreadJniEnv inner(vm);
      report(outer.m_jniEnv == inner.m_jniEnv);
    }
    report(jvm.counts().attachedThreads);
  }
  report(jvm.counts().attachedThreads);
}

TEST(ThreadJniEnv, OnlyTheOneThatAttachedDetaches) {
  expectReport("nested", {"1", "1", "0"});
}

PROCESS_CASE(otherThreadDestroys) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.startJvm();
  auto holder = std::make_unique<ThreadJniEnv>(vm);
  onNewThread([&] { holder.reset(); });
  reportAll(jvm.calls());
  report(jvm.counts().attachedThreads);
}

TEST(ThreadJniEnv, ADestructionOnAnotherThreadDetachesNobody) {
  expectReport("otherThreadDestroys", {"GetEnv(1.8)", "AttachCurrentThread", "1"});
}

PROCESS_CASE(nullJvm) {
  report(thrownBy([] { const ThreadJniEnv thread(nullptr); }));
  report(thrownBy([] { getJniEnvForThread(nullptr); }));
}

TEST(ThreadJniEnv, ANullJvmRaisesWithoutPrinting) {
  const InstallationTree tree;
  const CaseOptions options = loggedOptions(tree);
  const std::string error = "ThreadJniEnv: JavaVM pointer is null";
  const CaseResult result = expectReport("nullJvm", {error, error}, tree, options);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(loggedErrors(tree), (Texts{error, error}));
}

namespace {

struct Refusal {
  const char* name;
  FakeJvm::Injection injection;
  const char* text;
  bool printed;
  Texts calls;
};

std::vector<Refusal> refusals() {
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
  JavaVM* vm = jvm.startJvm();
  jvm.inject(refusals()[std::stoul(caseArguments().front())].injection);
  report(thrownBy([&] { const ThreadJniEnv thread(vm); }));
  reportAll(jvm.calls());
  report(jvm.counts().attachedThreads);
  report(thrownBy([&] { const ThreadJniEnv thread(vm); }));
}

class ThreadJniEnvRefusal : public testing::TestWithParam<std::size_t> {};

TEST_P(ThreadJniEnvRefusal, IsPrintedRaisedAndLoggedAndLeavesNothingAttached) {
  const Refusal refusal = refusals()[GetParam()];
  const InstallationTree tree;
  CaseOptions options = loggedOptions(tree);
  options.arguments = {std::to_string(GetParam())};
  const CaseResult result = expectReport(
      "refused", joined({{refusal.text}, refusal.calls, {"0", "(nothing thrown)"}}), tree, options);
  EXPECT_EQ(result.out, refusal.printed ? std::string(refusal.text) + "\n" : "");
  EXPECT_EQ(loggedErrors(tree), Texts{refusal.text});
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, ThreadJniEnvRefusal,
                         testing::Range<std::size_t>(0, refusals().size()),
                         [](const auto& refusal) { return refusals()[refusal.param].name; });

PROCESS_CASE(nullAlthoughAttached) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.startJvm();
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  jvm.inject({.call = "GetEnv", .null = true});
  report(thrownBy([&] { const ThreadJniEnv thread(vm); }));
  report(jvm.counts().attachedThreads);
}

TEST(ThreadJniEnv, ANullEnvironmentOfAnAttachedThreadRaisesAndLeavesItAttached) {
  expectReport("nullAlthoughAttached",
               {"ThreadJniEnv: m_jniEnv is nullptr after initialization", "1"});
}

PROCESS_CASE(processWide) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.startJvm();
  JavaVM* otherVm = jvm.startJvm();
  JNIEnv* env = getJniEnvForThread(vm);
  report(env->GetVersion());
  onNewThread([&] {
    report(getJniEnvForThread(vm) == env);
    report(getJniEnvForThread(otherVm) == env);
    report(getJniEnvForThread(nullptr) == env);
  });
  reportAll(jvm.calls());
}

TEST(ThreadJniEnv, TheProcessWideHolderServesTheFirstCallersEnvironmentToEveryone) {
  expectReport("processWide", {std::to_string(0x10008), "1", "1", "1", "GetEnv(1.8)",
                               "AttachCurrentThread", "GetVersion"});
}

PROCESS_CASE(processWideFails) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.startJvm();
  jvm.inject({.call = "AttachCurrentThread", .result = -1});
  report(thrownBy([&] { getJniEnvForThread(vm); }));
  report(getJniEnvForThread(vm)->GetVersion());
}

TEST(ThreadJniEnv, AFailedFirstCallLeavesTheProcessWideHolderEmpty) {
  expectReport("processWideFails",
               {"ThreadJniEnv: failed to attach thread to JVM", std::to_string(0x10008)});
}

PROCESS_CASE(processWideRace) {
  FakeJvmClient jvm(FAKEJVM_PATH);
  JavaVM* vm = jvm.startJvm();
  onNewThreads(8, [&](int) { report(getJniEnvForThread(vm) != nullptr); });
  JNIEnv* env = getJniEnvForThread(nullptr);
  onNewThreads(8, [&](int) { report(getJniEnvForThread(nullptr) == env); });
}

TEST(ThreadJniEnv, FirstCallsThatRaceLeaveOneHolder) {
  expectReport("processWideRace", Texts(16, "1"));
}

PROCESS_CASE(tokens) {
  std::set<ThreadToken> seen = {currentThreadToken(), currentThreadToken()};
  report(static_cast<long>(seen.size()));
  for (int i = 0; i < 50; ++i) {
    onNewThread([&] { seen.insert(currentThreadToken()); });
  }
  report(static_cast<long>(seen.size()));
}

TEST(ThreadJniEnv, NoTwoThreadsEverHaveTheSameToken) {
  expectReport("tokens", {"1", "51"});
}

}  // namespace FerrolinkTest
