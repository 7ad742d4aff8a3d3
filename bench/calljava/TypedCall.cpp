// C++ calls Java's methods by typed calls, and by JNI written by hand. Measures the CPU time of the
// calling thread. Releases of handles that another thread sends are not in it.
#include <ferrolink/Host.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <future>
#include <string>

#include "bench/calljava/HandWritten.h"
#include "bench/calljava/Typed.h"
#include "bench/harness/Arguments.h"
#include "bench/harness/JavaHost.h"
#include "bench/harness/Report.h"
#include "bench/harness/Serve.h"

namespace {

using namespace Ferrolink::Bench;
using Ferrolink::Host::Host;

constexpr const char* kUsage =
    "usage: ferrolink-bench-typed-call --home DIR --classes JAR [--works length,max,...]\n"
    "         [--rounds N] [--warm-up MILLISECONDS] [--batch MILLISECONDS] [--json FILE]\n"
    "       ferrolink-bench-typed-call --home DIR --classes JAR --serve    answers lines \"WORK "
    "CALLS\"\n"
    "         where WORK is the position in length,max,concat,new,in,out";
constexpr const char* kByHand = "by hand";
constexpr const char* kAllWorks = "length,max,concat,new,in,out";

/// The JNI calls of one command of 64 bytes and its answer, with nothing in Java: below that no
/// typed call can get.
Batch BareCommand(JNIEnv* env) {
  const JavaMethod echo = FindMethod(env, "com/ferrolink/bench/Echo", "echo");
  return RepeatOnCpu([echo, command = Bytes(64), answer = Bytes(64), waiting = Bytes()]() mutable {
    CallWithSameSequence(echo, command.data(), 64, answer.data(), waiting);
  });
}

std::string TitleOf(const std::string& work) {
  return "typed, " + work;
}

void MeasureWorks(JNIEnv* env, const TypedOurs& ours, const Arguments& arguments) {
  const TypedByHand hand(env);
  Plan plan;
  plan.rounds = static_cast<int>(arguments.Number("rounds", plan.rounds));
  plan.warmUpMilliseconds = arguments.Number("warm-up", plan.warmUpMilliseconds);
  plan.batchMilliseconds = arguments.Number("batch", plan.batchMilliseconds);
  Report report(kByHand, arguments.Text("json", ""));
  for (const std::string& work : arguments.List("works", kAllWorks)) {
    std::vector<Contender> contenders = {{kByHand, RepeatOnCpu(hand.Of(work))}};
    if (work != "in" && work != "out") {
      contenders.push_back({"same-sequence, 64 B", BareCommand(env)});
    }
    if (const Way byId = ours.ById(work)) {
      contenders.push_back({"by id", RepeatOnCpu(byId)});
    }
    contenders.push_back({"by name", RepeatOnCpu(ours.ByName(work))});
    report.Add({TitleOf(work), 0}, Measure(contenders, plan));
  }
}

void ServeWorks(const TypedOurs& ours) {
  Serve([&](std::size_t work, long calls) {
    return RepeatOnCpu(ours.ByName(kTypedWorks[work]))(calls);
  });
}

}  // namespace

int main(int count, char** values) {
  try {
    const Arguments arguments(count, values, kUsage,
                              {"home", "classes", "works", "rounds", "warm-up", "batch", "json"},
                              {"serve"});
    SetDefaultEnvironment();
    Host host({.libraryDirectory = std::filesystem::path(arguments.Text("home", "")) /
                                   Ferrolink::Host::kNativeDirectory,
               .configuration = ""});
    host.LoadLibrary(arguments.Text("classes", ""));
    host.Start();
    // On another thread, because the library treats the thread that starts the JVM specially.
    std::async(std::launch::async, [&] {
      const Attached thread(CreatedVm());
      const TypedOurs ours{Ferrolink::Objects::Java(host)};
      if (arguments.Has("serve")) {
        ServeWorks(ours);
      } else {
        MeasureWorks(thread.Env(), ours, arguments);
      }
    }).get();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
