// Many objects, functions and threads; stale handles, and functions that were freed.
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <latch>
#include <memory>
#include <thread>

#include "tests/companions/objects/RealJava.h"
#include "tests/support/Counts.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Objects;
using Ferrolink::Host::ThreadAttachment;

// The number of repetitions, unless the environment sets another one.
constexpr long kObjects = 20'000;
constexpr long kFunctions = 2'000;
constexpr long kMixedCalls = 700;

constexpr int kThreads = 8;

/// The resident memory of the process, in MiB.
long ResidentMiB() {
  std::ifstream statm("/proc/self/statm");
  long total = 0;
  long resident = 0;
  statm >> total >> resident;
  return resident * sysconf(_SC_PAGESIZE) / (1024 * 1024);
}

// Runs a tenth first, so that all memory has reached its size, then the rest.
void ReportGrowth(long count, const std::function<void()>& action) {
  const auto repeat = [&](long times) {
    for (long done = 0; done < times; ++done) {
      action();
    }
  };
  repeat(count / 10);
  const long before = ResidentMiB();
  repeat(count - count / 10);
  const long grown = ResidentMiB() - before;
  constexpr long kHeap = 64;
  Report(grown <= kHeap ? "flat" : "grew by " + std::to_string(grown) + " MiB");
}

PROCESS_CASE(makeAndDropObjects) {
  const Java java = TheJava();
  const std::size_t before = java.LiveObjects().handles;
  ReportGrowth(CountOr("TEST_OBJECTS", kObjects), [&] {
    const Object list = java.New("java.util.ArrayList");
    const Object copy = list;
  });
  const Statistics after = java.LiveObjects();
  Report(static_cast<long>(after.handles - before));
  Report(static_cast<long>(after.handlesByClass.count("java.util.ArrayList")));
}

PROCESS_CASE(makeAndDropFunctions) {
  const Java java = TheJava();
  auto alive = std::make_shared<int>(1);
  long ran = 0;
  const long count = CountOr("TEST_FUNCTIONS", kFunctions);
  ReportGrowth(count, [&] {
    java.Implement("java.lang.Runnable", [alive, &ran] { ran += *alive; }).Call<void>("run");
  });
  Report(ran == count ? "all ran" : std::to_string(ran));
  Report(static_cast<long>(FunctionsAfterCollection(java, 0)));
  // A Java thread reports the last collected proxies.
  while (alive.use_count() > 1) {
    FunctionsAfterCollection(java, 0);
  }
  Report(alive.use_count());
}

// Calls, objects, exceptions, arrays, iteration, functions and fields in turn.
bool MixedCall(const Java& java, const Object& list, long number) {
  switch (number % 7) {
    case 0:
      return java.CallStatic<int>("java.lang.Math", "max", static_cast<int>(number), -1) == number;
    case 1:
      return java.New("java.lang.StringBuilder", "ab").Call<std::string>("toString") == "ab";
    case 2:
      try {
        java.CallStatic("java.lang.Integer", "parseInt", "x" + std::to_string(number));
        return false;
      } catch (const JavaException& error) {
        return error.Is("java.lang.NumberFormatException") &&
               error.Message() == "For input string: \"x" + std::to_string(number) + "\"";
      }
    case 3:
      return java.CallStatic<std::vector<double>>("java.util.Arrays", "copyOf",
                                                  std::vector<double>(5000, 0.5), 4999)
                 .back() == 0.5;
    case 4: {
      long sum = 0;
      for (const int element : list.Iterate<int>(3)) {
        sum += element;
      }
      return sum == 10;
    }
    case 5: {
      const Object function = java.Implement("java.util.function.IntUnaryOperator",
                                             [](int value) { return value + 1; });
      return function.Call<int>("applyAsInt", 41) == 42;
    }
    default:
      java.SetStatic(TestClass("Probes"), "shared", "same");
      return java.GetStatic<std::string>(TestClass("Probes"), "shared") == "same";
  }
}

PROCESS_CASE(callFromEightThreads) {
  const Java java = TheJava();
  const Object list = java.CallStatic("java.util.Arrays", "asList", 1, 2, 3, 4);
  const long each = CountOr("TEST_MIXED_CALLS", kMixedCalls);
  std::atomic<long> right{0};
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&] {
      const ThreadAttachment attachment;
      start.arrive_and_wait();
      for (long call = 0; call < each; ++call) {
        right += MixedCall(java, list, call) ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  Report(right == kThreads * each ? "all right" : std::to_string(right));
  Report(static_cast<long>(FunctionsAfterCollection(java, 0)));
  Report(static_cast<long>(java.LiveObjects().handles));
}

std::string Refusal(const std::function<void()>& action) {
  try {
    action();
    return "done";
  } catch (const ObjectError& error) {
    return (error.Why() == ObjectError::Reason::StaleHandle ? "stale: " : "other: ") +
           std::string(error.what());
  }
}

// A handle of another process is a number that this process never returned, or returned for another
// object.
PROCESS_CASE(useHandlesThatAreNotThere) {
  const Java java = TheJava();
  auto& session = detail::SessionOfPeer(TheHost());
  const auto objectOf = [&](std::uint64_t number, std::uint32_t classId) {
    return detail::ObjectAccess::Make(session.Adopt(number, classId));
  };
  const Object list = java.New("java.util.ArrayList");
  const std::uint64_t number = detail::ObjectAccess::Number(list);
  const std::uint32_t classId = detail::ObjectAccess::ClassId(list);
  list.Call("size");
  const std::uint64_t foreign = number + (std::uint64_t{5} << 32U);
  const auto expected = [](std::uint64_t handle) {
    const auto slot = std::to_string(static_cast<std::uint32_t>(handle));
    const auto generation = std::to_string(handle >> 32U);
    return std::pair(slot, generation);
  };
  const std::string text = Refusal([&] { objectOf(foreign, classId).Call("size"); });
  const auto [slot, generation] = expected(foreign);
  Report(text.starts_with("stale: ") && text.find(slot) != std::string::npos &&
                 text.find(generation) != std::string::npos
             ? "told by its numbers"
             : text);
  Report(Refusal([&] {
           objectOf(std::uint64_t{1} << 32U | 0xFFFFFF, classId).Call("size");
         }).substr(0, 6));
  Report(list.Call<int>("size"));
  { const Object released = objectOf(number, classId); }
  Report(Refusal([&] { list.Call("size"); }).substr(0, 6));
}

// A proxy that Java still has although C++ has freed its function, as after an error in counting.
PROCESS_CASE(callAFunctionThatWasFreed) {
  const Java java = TheJava();
  auto body = std::make_shared<detail::FunctionBody>();
  body->Add("", detail::MakeCallable([] {}));
  const Object proxy =
      detail::ImplementInterface(detail::SessionOfPeer(TheHost()), "java.lang.Runnable", body);
  java.CallStatic(TestClass("Probes"), "keep", proxy);
  java.CallStatic(TestClass("Probes"), "runKept");
  detail::FunctionTable::Instance().GiveBack(body->Id(), 1);
  const std::string text = ThrownBy([&] { java.CallStatic(TestClass("Probes"), "runKept"); });
  Report(text.substr(0, text.find('\n')));
}

Object g_static;
thread_local Object t_object;

// Static and thread-local Objects are destroyed after main has returned, while releases are
// pending.
PROCESS_CASE(endWithObjects) {
  const Java java = TheJava();
  g_static = java.New("java.util.ArrayList");
  t_object = g_static;
  std::thread([&] { t_object = java.New("java.util.ArrayList"); }).join();
  for (int count = 0; count < 2'000; ++count) {
    java.New("java.util.ArrayList");
  }
  Report("ends");
}

using ObjectLoad = OnEachJdk;

TEST_P(ObjectLoad, ObjectsThatAreDroppedLeaveNothing) {
  RecordProperty("objects", std::to_string(CountOr("TEST_OBJECTS", kObjects)));
  ExpectReport(RunOnJava("makeAndDropObjects", GetParam(), "-Xmx64m"), {"flat", "0", "0"});
}

TEST_P(ObjectLoad, FunctionsThatAreDroppedLeaveNothing) {
  RecordProperty("functions", std::to_string(CountOr("TEST_FUNCTIONS", kFunctions)));
  ExpectReport(RunOnJava("makeAndDropFunctions", GetParam(), "-Xmx64m"),
               {"flat", "all ran", "0", "1"});
}

TEST_P(ObjectLoad, EightThreadsMakeCallsOfAllKinds) {
  RecordProperty("calls", std::to_string(kThreads * CountOr("TEST_MIXED_CALLS", kMixedCalls)));
  ExpectReport(RunOnJava("callFromEightThreads", GetParam()), {"all right", "0", "1"});
}

TEST_P(ObjectLoad, AHandleThatIsNotThereIsToldByItsNumbers) {
  ExpectReport(RunOnJava("useHandlesThatAreNotThere", GetParam()),
               {"told by its numbers", "stale:", "0", "stale:"});
}

TEST_P(ObjectLoad, AFunctionThatWasFreedIsAClearException) {
  ExpectReport(RunOnJava("callAFunctionThatWasFreed", GetParam()),
               {"com.ferrolink.core.objects.FunctionException: The C++ function for run was freed: "
                "Java had no object of it any more."});
}

TEST_P(ObjectLoad, AProcessEndsWithObjectsThatAreStillThere) {
  ExpectReport(RunOnJava("endWithObjects", GetParam()), {"ends"});
}

INSTANTIATE_TEST_SUITE_P(EachJdk, ObjectLoad, testing::ValuesIn(InstalledJdks()));

}  // namespace
}  // namespace Ferrolink::Tests
