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

#include "companions/tool/Commands.h"
#include "companions/tool/Failure.h"
#include "companions/tool/Output.h"
#include "companions/tool/Terminal.h"
#include "ferrolink/Host.h"
#include "ferrolink/Objects.h"

namespace Ferrolink::Companions::Tool {
namespace {

using Clock = std::chrono::steady_clock;
using Host::Bytes;

constexpr int kRounds = 15;
constexpr std::chrono::milliseconds kRoundTime{20};
constexpr int kWarmUp = 20000;
constexpr std::size_t kSmall = 64;
constexpr std::size_t kLarge = 65536;

// The same command as that of Host, sent by hand.
class HandWritten {
 public:
  explicit HandWritten(std::size_t payload)
      : m_command(Host::CallCommand(Native::Definitions::Runtime::Jvm, "echo", Bytes(payload))),
        m_answer(payload + kHeader) {
    auto* vm = reinterpret_cast<JavaVM*>(Host::detail::FindJvmLibrary().vm);
    if (vm == nullptr || vm->GetEnv(reinterpret_cast<void**>(&m_env), JNI_VERSION_1_8) != JNI_OK) {
      throw Failure("The JVM gave this thread no environment. ferrolink doctor tells more.");
    }
    m_class = m_env->FindClass("com/ferrolink/core/receiver/Receiver");
    m_method =
        m_class == nullptr ? nullptr : m_env->GetStaticMethodID(m_class, "sendCommand", "([B)[B");
    if (m_method == nullptr) {
      m_env->ExceptionClear();
      throw Failure("The receiver class is not there. ferrolink doctor tells why.");
    }
  }

  void Call() {
    const auto size = static_cast<jsize>(m_command.size());
    jbyteArray command = m_env->NewByteArray(size);
    m_env->SetByteArrayRegion(command, 0, size, reinterpret_cast<jbyte*>(m_command.data()));
    auto* answer =
        static_cast<jbyteArray>(m_env->CallStaticObjectMethod(m_class, m_method, command));
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
  JNIEnv* m_env = nullptr;
  jclass m_class = nullptr;
  jmethodID m_method = nullptr;
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

}  // namespace

void Bench() {
  setenv("FERROLINK_LOGGING_LEVEL", "off", 0);
  const ReservedOutput output(ReservedOutput::Others::Discarded);
  const Progress progress("Measuring");
  Host::Host host;
  host.Start();
  const Host::ThreadAttachment attachment;
  HandWritten byHand(kSmall);
  const Objects::Java java(host);
  const Objects::StaticMethod<double(double, double)> larger(java, "java.lang.Math", "max");
  const Bytes small(kSmall);
  const Bytes large(kLarge);
  Bytes answer;
  Repeat(kWarmUp, [&] { byHand.Call(); });
  Repeat(kWarmUp, [&] { host.CallInto("echo", small, answer); });
  std::vector<Measured> all = {
      {"JNI written by hand, 64 bytes", [&](int calls) { Repeat(calls, [&] { byHand.Call(); }); }},
      {"Host::CallInto, 64 bytes",
       [&](int calls) { Repeat(calls, [&] { host.CallInto("echo", small, answer); }); }},
      {"Host::CallInto, 64 KiB",
       [&](int calls) { Repeat(calls, [&] { host.CallInto("echo", large, answer); }); }},
      {"a typed call, Math.max", [&](int calls) { Repeat(calls, [&] { larger(1.0, 2.0); }); }},
      {"64 bytes on a thread that Java does not know", [&](int calls) {
         std::thread([&] { Repeat(calls, [&] { host.CallInto("echo", small, answer); }); }).join();
       }}};
  Measure(all);
  std::string text;
  for (const Measured& one : all) {
    std::array<char, 128> line{};
    std::snprintf(line.data(), line.size(), "%-46s %8.2f\n", one.name,
                  one.nanoseconds / all.front().nanoseconds);
    text += line.data();
  }
  output.Write(Host::AsBytes(text));
}

}  // namespace Ferrolink::Companions::Tool
