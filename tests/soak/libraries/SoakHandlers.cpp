// Handlers of the C++ member for the soak's processes.
#include <ferrolink/Caller.h>
#include <ferrolink/CppRuntime.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::Caller;
using Ferrolink::Cpp::Registrar;
using Ferrolink::Cpp::Runtime;
using Ferrolink::Cpp::ToBytes;
using Ferrolink::Cpp::ToText;
using Span = std::span<const std::uint8_t>;

// Large enough to detect replaced handlers that are not destroyed.
constexpr std::size_t kBallast = 64U << 10U;
constexpr int kThreads = 3;

const Caller& SharedCaller() {
  static const Caller instance;
  return instance;
}

// The bytes that the process's C library has allocated and those it keeps free. First returns free
// memory to the kernel: its amount depends on earlier work of the threads, and would hide leaks.
Bytes Heap(Span) {
  malloc_trim(0);
  const struct mallinfo2 info = mallinfo2();
  return ToBytes("{\"used\":" + std::to_string(info.uordblks + info.hblkhd) +
                 ",\"free\":" + std::to_string(info.fordblks) + "}");
}

// Registers "changing" again and answers with its new answer.
Bytes Replace(const Registrar& registrar) {
  static std::atomic<long> last{0};
  const Bytes generation = ToBytes(std::to_string(++last));
  registrar.Register("changing", [generation, ballast = Bytes(kBallast, 1)](Span) {
    return ballast.back() == 1 ? generation : Bytes();
  });
  return generation;
}

// Calls a Java handler. The payload has the length of its name, the name, and its payload.
Bytes Relay(Span payload) {
  const std::size_t length = payload[0];
  return SharedCaller().Call(Runtime::Jvm, ToText(payload.subspan(1, length)),
                             payload.subspan(1 + length));
}

// Calls it on threads that Java does not know. Answers how many of them got their own bytes, or the
// first error.
Bytes Threads(Span payload) {
  std::atomic<int> right{0};
  std::mutex mutex;
  std::exception_ptr error;
  std::vector<std::thread> running;
  for (int number = 0; number < kThreads; ++number) {
    running.emplace_back([&, number] {
      Bytes own(payload.begin(), payload.end());
      own.push_back(static_cast<std::uint8_t>(number));
      try {
        right += SharedCaller().Call(Runtime::Jvm, "echo", own) == own ? 1 : 0;
      } catch (...) {
        const std::lock_guard<std::mutex> lock(mutex);
        error = std::current_exception();
      }
    });
  }
  for (std::thread& thread : running) {
    thread.join();
  }
  if (error) {
    std::rethrow_exception(error);
  }
  return ToBytes(std::to_string(right));
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  const Registrar registrar(table);
  registrar.Register("heap", Heap);
  registrar.Register("replace", [registrar](Span) { return Replace(registrar); });
  registrar.Register("relay", Relay);
  registrar.Register("threads", Threads);
  registrar.Register("larger", [](Span payload) {
    Bytes answer(payload.begin(), payload.end());
    std::transform(answer.begin(), answer.end(), answer.begin(),
                   [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
    answer.insert(answer.end(), payload.begin(), payload.end());
    return answer;
  });
  return FERROLINK_OK;
}
