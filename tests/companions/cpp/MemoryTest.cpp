// Memory that runs out at each allocation of a command in turn, and memory that does not grow.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <string>

#include "tests/companions/cpp/CppMemberCases.h"

namespace {

// The number of allocations of this thread that still succeed; negative: all.
thread_local long allowance = -1;
thread_local bool refused = false;

void* allocate(std::size_t size) {
  if (allowance == 0) {
    refused = true;
    throw std::bad_alloc();
  }
  if (allowance > 0) {
    --allowance;
  }
  if (void* memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace Ferrolink::Tests {
namespace {

/// While it lives, the `count`th allocation from now on fails, and all after it.
class MemoryRunsOut {
 public:
  explicit MemoryRunsOut(long count) {
    refused = false;
    allowance = count;
  }
  MemoryRunsOut(const MemoryRunsOut&) = delete;
  MemoryRunsOut& operator=(const MemoryRunsOut&) = delete;
  ~MemoryRunsOut() { allowance = -1; }
};

std::string OutcomeWithout(IReceiver* receiver, Bytes call, long count) {
  int length = -1;
  try {
    const MemoryRunsOut out(count);
    length = receiver->SendCommand(call.data(), static_cast<int>(call.size()));
  } catch (...) {
    return "exception";
  }
  Bytes reply(static_cast<std::size_t>(length));
  const std::string error = ThrownBy([&] { receiver->ReadResponse(reply.data(), length); });
  if (length == 0) {
    return error.substr(0, 33);
  }
  return std::to_string(reply.at(10)) + ":" + ToText(Span(reply).subspan(11));
}

// Reports each distinct outcome of a command, while memory runs out one allocation later each time.
void ReportOutcomes(IReceiver* receiver, const Bytes& call) {
  std::map<std::string, bool> seen;
  long count = 0;
  do {
    // A command must not take an earlier response for its own.
    Bytes stale = Command(11, "stale");
    receiver->SendCommand(stale.data(), static_cast<int>(stale.size()));
    const std::string text = OutcomeWithout(receiver, call, count++);
    if (!std::exchange(seen[text], true)) {
      Report(text);
    }
  } while (refused);
}

PROCESS_CASE(runOutOfMemory) {
  OpenRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
  OpenRegistrar().Register("fail", [](Span b) -> Bytes { throw std::runtime_error(ToText(b)); });
  IReceiver* receiver = OpenReceiver();
  ReportOutcomes(receiver, CallOf("echo", "payload"));
  ReportOutcomes(receiver, Command(11, "12"));
  ReportOutcomes(receiver, CallOf("fail", "a text too long for the small-string optimisation"));
  ReportOutcomes(receiver, Command(77, ""));
}

TEST(CppMemory, RunningOutOfItInACommandIsNoResponseOrAReportAndNeverAnException) {
  const CaseResult result = RunMemberCase("runOutOfMemory");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.report, testing::Not(testing::Contains("exception")));
  EXPECT_THAT(result.report, testing::Not(testing::Contains("0:stale")));
  EXPECT_THAT(result.report, testing::Contains("Cpp Launcher: Exception code 017."));
  EXPECT_THAT(result.report, testing::Contains("0:payload"));
  EXPECT_THAT(result.report, testing::Contains("0:12"));
  EXPECT_THAT(result.report,
              testing::Contains("10:std::runtime_error: a text too long for the small-string "
                                "optimisation"));
}

PROCESS_CASE(registerWithoutMemory) {
  const ferrolink_registrar* table = OpenTable();
  int releases = 0;
  const ferrolink_handler handler{
      [](void*, const std::uint8_t*, std::size_t, ferrolink_reply*) -> std::int32_t { return 0; },
      &releases, [](void* context) { ++*static_cast<int*>(context); }};
  const std::string name(100, 'n');
  std::int32_t result = FERROLINK_OUT_OF_MEMORY;
  long failures = 0;
  for (long count = 0; result == FERROLINK_OUT_OF_MEMORY; ++count) {
    const MemoryRunsOut out(count);
    result = table->register_handler(name.data(), name.size(), &handler);
    failures += result == FERROLINK_OUT_OF_MEMORY ? 1 : 0;
  }
  Report(failures > 0 ? "refused first" : "never refused");
  Report(result);
  Report(releases);
  Report(table->unregister_handler(name.data(), name.size()));
  Report(releases);
}

TEST(CppMemory, RunningOutOfItInARegistrationChangesNothing) {
  ExpectReport(RunMemberCase("registerWithoutMemory"), {"refused first", "0", "0", "0", "1"});
}

long ResidentKilobytes() {
  std::FILE* file = std::fopen("/proc/self/statm", "re");
  long total = 0;
  long resident = 0;
  const int fields = std::fscanf(file, "%ld %ld", &total, &resident);
  std::fclose(file);
  return fields == 2 ? resident * 4 : -1;
}

PROCESS_CASE(stayFlat) {
  OpenRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
  IReceiver* receiver = OpenReceiver();
  const auto call = [&](int times) {
    for (int round = 0; round < times; ++round) {
      Exchange(receiver, CallOf("echo", std::string(static_cast<std::size_t>(round % 500), 'x')));
    }
  };
  call(20000);
  const long before = ResidentKilobytes();
  call(1000000);
  Report(ResidentKilobytes() - before < 1024 ? "flat" : "grown");
}

TEST(CppMemory, AMillionCallsLeaveNothingBehind) {
  ExpectReport(RunMemberCase("stayFlat"), {"flat"});
}

}  // namespace
}  // namespace Ferrolink::Tests
