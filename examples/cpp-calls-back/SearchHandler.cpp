// A plug-in library: the C++ function that LineSearch.java calls, and that calls LineSearch back,
// on the thread that called it and on threads of its own.
#include <ferrolink/Caller.h>
#include <ferrolink/CppRuntime.h>
#include <algorithm>
#include <exception>
#include <thread>

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::Caller;
using Ferrolink::Cpp::Runtime;
using Span = std::span<const std::uint8_t>;

namespace {

constexpr std::size_t kThreads = 4;

struct Line {
  std::string text;
  bool matches = false;
};

std::vector<Line> LinesOf(const std::string& text) {
  std::vector<Line> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back({text.substr(start, end - start)});
    start = end + 1;
  }
  return lines;
}

// Asks Java about every kThreads-th line. Each thread has lines of its own, so they need no lock.
void AskJava(const Caller& caller, std::vector<Line>& lines, std::size_t first) {
  // Without it, Java would attach and detach this thread anew for every question.
  const Ferrolink::Host::ThreadAttachment attachment;
  for (std::size_t i = first; i < lines.size(); i += kThreads) {
    lines[i].matches = caller.Call(Runtime::Jvm, "matches", lines[i].text) == Bytes{1};
  }
}

// Rethrows the first failure of the threads on the calling thread.
void AskJavaOnThreads(const Caller& caller, std::vector<Line>& lines) {
  std::vector<std::exception_ptr> failures(std::min(kThreads, lines.size()));
  std::vector<std::thread> threads;
  for (std::size_t first = 0; first < failures.size(); ++first) {
    threads.emplace_back([&, first] {
      try {
        AskJava(caller, lines, first);
      } catch (...) {
        failures[first] = std::current_exception();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::exception_ptr& failure : failures) {
    if (failure) {
      std::rethrow_exception(failure);
    }
  }
}

// A text to its lines that Java picks, with their numbers.
Bytes Search(Span text) {
  const Caller caller;
  std::vector<Line> lines = LinesOf(Ferrolink::Cpp::ToText(text));
  caller.Call(Runtime::Jvm, "announce", std::to_string(lines.size()));
  AskJavaOnThreads(caller, lines);
  std::string found;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].matches) {
      found += std::to_string(i + 1) + ": " + lines[i].text + "\n";
    }
  }
  return Ferrolink::Cpp::ToBytes(found);
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  Ferrolink::Cpp::Registrar(table).Register("search", Search);
  return FERROLINK_OK;
}
