// ferrolink bench: the cost of a call on this machine, compared with JNI that is written by hand.
#include <jni.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "companions/tool/Apart.h"
#include "companions/tool/Commands.h"
#include "companions/tool/Failure.h"
#include "companions/tool/LogDirectory.h"
#include "companions/tool/Options.h"
#include "companions/tool/Output.h"
#include "companions/tool/Terminal.h"
#include "ferrolink/Host.h"
#include "ferrolink/Objects.h"

namespace Ferrolink::Companions::Tool {
namespace {

using Clock = std::chrono::steady_clock;
using Host::Bytes;

constexpr int kRounds = 15;
constexpr std::chrono::milliseconds kRoundTime{15};
constexpr int kWarmUp = 20000;
constexpr std::size_t kSmall = 64;
constexpr std::size_t kLarge = 65536;

JNIEnv* Environment() {
  auto* vm = reinterpret_cast<JavaVM*>(Host::detail::FindJvmLibrary().vm);
  JNIEnv* env = nullptr;
  if (vm == nullptr || vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_8) != JNI_OK) {
    throw Failure("The JVM gave this thread no environment. ferrolink doctor tells more.");
  }
  return env;
}

// A static method that is called by hand.
struct Method {
  Method(JNIEnv* env, const char* className, const char* name, const char* signature)
      : type(env->FindClass(className)),
        id(type == nullptr ? nullptr : env->GetStaticMethodID(type, name, signature)) {
    if (id == nullptr) {
      env->ExceptionClear();
      throw Failure(std::string("The method ") + className + "." + name +
                    " is not there. ferrolink doctor tells why.");
    }
  }

  jclass type;
  jmethodID id;
};

// The same command as that of Host, sent by hand.
class HandWritten {
 public:
  explicit HandWritten(std::size_t payload)
      : m_command(Host::CallCommand(Native::Definitions::Runtime::Jvm, "echo", Bytes(payload))),
        m_answer(payload + kHeader),
        m_env(Environment()),
        m_method(m_env, "com/ferrolink/core/receiver/Receiver", "sendCommand", "([B)[B") {}

  void Call() {
    const auto size = static_cast<jsize>(m_command.size());
    jbyteArray command = m_env->NewByteArray(size);
    m_env->SetByteArrayRegion(command, 0, size, reinterpret_cast<jbyte*>(m_command.data()));
    auto* answer =
        static_cast<jbyteArray>(m_env->CallStaticObjectMethod(m_method.type, m_method.id, command));
    m_env->ExceptionCheck();
    m_env->GetByteArrayRegion(answer, 0, m_env->GetArrayLength(answer),
                              reinterpret_cast<jbyte*>(m_answer.data()));
    m_env->DeleteLocalRef(answer);
    m_env->DeleteLocalRef(command);
  }

 private:
  static constexpr std::size_t kHeader = 11;

  Bytes m_command;
  Bytes m_answer;
  JNIEnv* m_env;
  Method m_method;
};

class HandWrittenMax {
 public:
  void Call() {
    m_env->CallStaticDoubleMethod(m_method.type, m_method.id, 1.0, 2.0);
    m_env->ExceptionCheck();
  }

 private:
  JNIEnv* m_env = Environment();
  Method m_method{m_env, "java/lang/Math", "max", "(DD)D"};
};

struct Measured {
  const char* name;
  std::function<void(int)> run;  // that many calls
  double nanoseconds = std::numeric_limits<double>::max();
};

double Once(const Measured& what, int calls) {
  const auto begin = Clock::now();
  what.run(calls);
  return std::chrono::duration<double, std::nano>(Clock::now() - begin).count() / calls;
}

// In turns, so that a busy machine disturbs all alike. The best round counts.
void Measure(std::vector<Measured>& all) {
  std::vector<int> calls;
  for (const Measured& one : all) {
    const double cost = Once(one, kWarmUp / 20);
    const double wanted = std::chrono::duration<double, std::nano>(kRoundTime).count() / cost;
    calls.push_back(std::max(1, static_cast<int>(wanted)));
  }
  for (int round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i].nanoseconds = std::min(all[i].nanoseconds, Once(all[i], calls[i]));
    }
  }
}

void Repeat(int calls, const std::function<void()>& call) {
  for (int i = 0; i < calls; ++i) {
    call();
  }
}

// Measures the calls, and returns the lines of their ratios.
std::string MeasureCalls() {
  Host::Host host;
  host.Start();
  const Host::ThreadAttachment attachment;
  HandWritten smallByHand(kSmall);
  HandWritten largeByHand(kLarge);
  HandWrittenMax maxByHand;
  const Objects::Java java(host);
  const Objects::StaticMethod<double(double, double)> larger(java, "java.lang.Math", "max");
  const Bytes small(kSmall);
  const Bytes large(kLarge);
  Bytes answer;
  const auto callSmall = [&] { host.CallInto("echo", small, answer); };
  const auto repeated = [](auto call) { return [=](int calls) { Repeat(calls, call); }; };
  Repeat(kWarmUp, [&] { smallByHand.Call(); });
  Repeat(kWarmUp, callSmall);
  constexpr std::array<std::size_t, 4> kByHand = {4, 5, 6, 4};  // the place of each one's reference
  std::vector<Measured> all = {
      {"Host::CallInto, 64 bytes", repeated(callSmall)},
      {"Host::CallInto, 64 KiB", repeated([&] { host.CallInto("echo", large, answer); })},
      {"a typed call, Math.max", repeated([&] { larger(1.0, 2.0); })},
      {"64 bytes on a thread that Java does not know",
       [&](int calls) { std::thread([&] { Repeat(calls, callSmall); }).join(); }},
      {"by hand, 64 bytes", repeated([&] { smallByHand.Call(); })},
      {"by hand, 64 KiB", repeated([&] { largeByHand.Call(); })},
      {"by hand, Math.max", repeated([&] { maxByHand.Call(); })}};
  Measure(all);
  std::string text = "Times the same call by hand in JNI, on a thread that Java knows:\n";
  for (std::size_t i = 0; i < kByHand.size(); ++i) {
    std::array<char, 128> line{};
    std::snprintf(line.data(), line.size(), "%-46s %8.2f\n", all[i].name,
                  all[i].nanoseconds / all[kByHand[i]].nanoseconds);
    text += line.data();
  }
  return text;
}

}  // namespace

int Bench() {
  SetIfEmpty("FERROLINK_LOGGING_LEVEL", "off");
  return RunApart("Measuring", [](const std::string& logDirectory) {
    MoveErrorLog(Host::FindLibrary({}).parent_path(), logDirectory);
    const ReservedOutput output(ReservedOutput::Others::Discarded);
    std::string text;
    {
      const Progress progress("Measuring");
      text = MeasureCalls();
    }
    output.Write(Host::AsBytes(text));
  });
}

}  // namespace Ferrolink::Companions::Tool
