// C++ calls Java through the interface that programs use, and by JNI written by hand with the same
// number of bytes. Measures the CPU time of the calling thread.
#include <ferrolink/Host.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <string>

#include "bench/calljava/HandWritten.h"
#include "bench/harness/Arguments.h"
#include "bench/harness/JavaHost.h"
#include "bench/harness/Report.h"

namespace {

using namespace Ferrolink::Bench;
using Ferrolink::Host::Host;

constexpr const char* kUsage =
    "usage: ferrolink-bench-host-call --home DIR --classes JAR [--sizes 64,1024,65536,1048576]\n"
    "         [--rounds N] [--warm-up MILLISECONDS] [--batch MILLISECONDS] [--json FILE]";
constexpr const char* kByHand = "by hand";

/// JNI written by hand, as a program would: one array and one copy each way, and a new vector.
class ByHand {
 public:
  explicit ByHand(JNIEnv* env) : m_env(env), m_class(env->FindClass("com/ferrolink/bench/Echo")) {
    if (m_class == nullptr) {
      throw std::runtime_error("no class for JNI by hand");
    }
    m_echo = env->GetStaticMethodID(m_class, "echo", "([B)[B");
  }

  Bytes Call(const Bytes& payload) {
    const auto size = static_cast<jsize>(payload.size());
    jbyteArray sent = m_env->NewByteArray(size);
    m_env->SetByteArrayRegion(sent, 0, size, reinterpret_cast<const jbyte*>(payload.data()));
    auto answer = static_cast<jbyteArray>(m_env->CallStaticObjectMethod(m_class, m_echo, sent));
    if (m_env->ExceptionCheck() != JNI_FALSE) {
      throw std::runtime_error("an exception in Java");
    }
    Bytes bytes(static_cast<std::size_t>(m_env->GetArrayLength(answer)));
    m_env->GetByteArrayRegion(answer, 0, static_cast<jsize>(bytes.size()),
                              reinterpret_cast<jbyte*>(bytes.data()));
    m_env->DeleteLocalRef(answer);
    m_env->DeleteLocalRef(sent);
    return bytes;
  }

 private:
  JNIEnv* m_env;
  jclass m_class;
  jmethodID m_echo = nullptr;
};

void MeasureSize(Host& host, JNIEnv* env, const Plan& plan, Report& report, std::size_t size) {
  ByHand hand(env);
  const JavaMethod echo = FindMethod(env, "com/ferrolink/bench/Echo", "echo");
  Bytes waiting;
  Bytes payload(size);
  for (std::size_t i = 0; i < size; ++i) {
    payload[i] = static_cast<std::uint8_t>(i);
  }
  Bytes answer(size);
  const auto byHand = [&] { answer = hand.Call(payload); };
  const auto call = [&] { answer = host.Call("echo", payload); };
  const auto into = [&] { host.CallInto("echo", payload, answer); };
  const auto verify = [&](const auto& way) {
    answer.assign(size, 0);
    way();
    if (answer != payload) {
      throw std::runtime_error("an answer differs from its payload");
    }
  };
  verify(byHand);
  verify(call);
  verify(into);
  const auto command = [&] {
    CallWithSameSequence(echo, payload.data(), static_cast<int>(size), answer.data(), waiting);
  };
  verify(command);
  report.Add({"C++ to Java, Host::Call", size},
             Measure({{kByHand, RepeatOnCpu(byHand)},
                      {"same-sequence", RepeatOnCpu(command)},
                      {"ours", RepeatOnCpu(call)},
                      {"ours, into a vector", RepeatOnCpu(into)}},
                     plan));
}

}  // namespace

int main(int count, char** values) {
  try {
    const Arguments arguments(count, values, kUsage,
                              {"home", "classes", "sizes", "rounds", "warm-up", "batch", "json"});
    SetDefaultEnvironment();
    Host host({.libraryDirectory = std::filesystem::path(arguments.Text("home", "")) /
                                   Ferrolink::Host::kNativeDirectory,
               .configuration = ""});
    host.LoadLibrary(arguments.Text("classes", ""));
    host.Start();
    Plan plan;
    plan.rounds = static_cast<int>(arguments.Number("rounds", plan.rounds));
    plan.warmUpMilliseconds = arguments.Number("warm-up", plan.warmUpMilliseconds);
    plan.batchMilliseconds = arguments.Number("batch", plan.batchMilliseconds);
    Report report(kByHand, arguments.Text("json", ""));
    // On another thread, because the library treats the thread that starts the JVM specially.
    std::async(std::launch::async, [&] {
      const Attached thread(CreatedVm());
      for (const std::size_t size : arguments.Sizes("64,1024,65536,1048576")) {
        MeasureSize(host, thread.Env(), plan, report, size);
      }
    }).get();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
