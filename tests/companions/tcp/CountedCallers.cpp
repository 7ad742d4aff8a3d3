#include "tests/companions/tcp/CountedCallers.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <stdexcept>

namespace Ferrolink::Tests {
namespace {

// The bits for the numbers of one thread's calls.
constexpr unsigned kBitsOfCall = 22;
static_assert(ExecutionRecord::kNumbers >> kBitsOfCall == 32, "threads at most");

// A call of "count" with a limit of four milliseconds.
std::string LimitedCall(std::string_view payload) {
  const std::string_view limit("\0\0\0\4", 4);
  return Command(3, std::string(limit) + "\5count" + std::string(payload));
}

// Some take several reads, some exceed a socket's buffer, a few take long.
std::size_t RestOf(std::size_t number) {
  if (number % 1024 == 513) {
    return 3'000'000;
  }
  if (number % 256 == 0) {
    return 300'000;
  }
  return number % 16 == 0 ? 6000 : number % 64;
}

// Waiting threads are not woken for each answer.
constexpr long kAnswersANotice = 32;

// The code of a client library's error; for other errors the beginning of the text.
std::string CodeOf(const std::string& error) {
  constexpr std::string_view kBeginning = "error: Network Client: Exception code ";
  return error.starts_with(kBeginning) ? error.substr(kBeginning.size(), 3)
                                       : error.substr(0, error.find('\n'));
}

bool SaysNotExecuted(const std::string& code) {
  static const std::set<std::string> kCodes{"001", "003", "004", "005", "006", "008", "009"};
  return kCodes.contains(code);
}

}  // namespace

void Tally::RecordProperties() const {
  const auto record = [](const std::string& name, long value) {
    testing::Test::RecordProperty(name, static_cast<int>(value));
  };
  record("calls", calls);
  record("executed", executed);
  record("wrong_answers", wrongAnswers);
  record("lost", lost);
  record("executed_twice", twice);
  record("not_executed_errors", notExecuted);
  record("of_these_executed", falselyNotExecuted);
  record("perhaps_executed_errors", perhapsExecuted);
  record("of_those_executed", perhapsAndWasExecuted);
  for (const auto& [code, count] : errors) {
    record("error_" + code, count);
  }
}

CountedCallers::CountedCallers(ITransport& channel, Plan plan)
    : m_channel(channel), m_plan(plan), m_callers(static_cast<std::size_t>(plan.threads)) {
  for (std::size_t thread = 0; thread < m_callers.size(); ++thread) {
    m_callers[thread].thread = std::thread(&CountedCallers::Run, this, thread);
  }
}

std::size_t CountedCallers::NumberFor(std::size_t thread, std::size_t call) {
  return (thread << kBitsOfCall) + call;
}

void CountedCallers::Run(std::size_t thread) {
  Caller& caller = m_callers[thread];
  for (std::size_t call = 0; call < std::size_t{1} << kBitsOfCall; ++call) {
    if (m_finish && call >= static_cast<std::size_t>(m_plan.least)) {
      return;
    }
    const Outcome outcome = this->Call(NumberFor(thread, call));
    caller.outcomes.push_back(outcome);
    if (outcome == Outcome::Answered) {
      const std::lock_guard<std::mutex> lock(m_mutex);
      ++caller.answered;
      if (++m_answers % kAnswersANotice == 0) {
        m_progress.notify_all();
      }
    }
  }
  ADD_FAILURE() << "The numbers are used up.";
}

CountedCallers::Outcome CountedCallers::Call(std::size_t number) {
  const std::string payload =
      CountedPayload(number, std::string(RestOf(number), static_cast<char>(number)));
  const bool isLimited =
      m_plan.limitedEach > 0 && static_cast<long>(number) % m_plan.limitedEach == 0;
  const std::string answer =
      Exchange(m_channel, isLimited ? LimitedCall(payload) : CallOf("count", payload));
  if (answer == AnswerOf(CountedAnswer(payload))) {
    return Outcome::Answered;
  }
  return answer.starts_with("error: ") ? Failed(answer) : Outcome::AnsweredWrongly;
}

CountedCallers::Outcome CountedCallers::Failed(const std::string& error) {
  const std::string code = CodeOf(error);
  const std::lock_guard<std::mutex> lock(m_mutex);
  ++m_errors[code];
  m_texts.emplace(code, error);
  if (!SaysNotExecuted(code)) {
    return Outcome::PerhapsExecuted;
  }
  ++m_refusals;
  m_progress.notify_all();
  return Outcome::NotExecuted;
}

void CountedCallers::Await(const std::function<bool()>& isSo, const std::string& what) {
  std::unique_lock<std::mutex> lock(m_mutex);
  while (!isSo()) {
    const long answers = m_answers;
    const auto goesOn = [&] { return isSo() || m_answers != answers; };
    if (!m_progress.wait_for(lock, std::chrono::minutes(1), goesOn)) {
      std::string text = "In vain: " + what + ". After " + std::to_string(answers) + " answers";
      for (const auto& [code, error] : m_texts) {
        text += ", " + std::to_string(m_errors[code]) + " x " + error;
      }
      throw std::runtime_error(text);
    }
  }
}

void CountedCallers::AwaitAnswers(long count) {
  const auto hasThem = [&](const Caller& caller) { return caller.answered >= count; };
  Await([&] { return std::all_of(m_callers.begin(), m_callers.end(), hasThem); },
        std::to_string(count) + " answers for each");
}

void CountedCallers::AwaitFurtherAnswers(long count) {
  std::vector<long> wanted;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const Caller& caller : m_callers) {
      wanted.push_back(caller.answered + count);
    }
  }
  const auto have = [&] {
    return std::equal(m_callers.begin(), m_callers.end(), wanted.begin(),
                      [](const Caller& caller, long least) { return caller.answered >= least; });
  };
  Await(have, std::to_string(count) + " further answers for each");
}

void CountedCallers::AwaitFurtherRefusal() {
  long before = 0;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    before = m_refusals;
  }
  Await([&] { return m_refusals > before; }, "a further refusal");
}

void CountedCallers::Finish() {
  m_finish = true;
  for (Caller& caller : m_callers) {
    if (caller.thread.joinable()) {
      caller.thread.join();
    }
  }
}

Tally CountedCallers::CompareWith(const ExecutionRecord& record) const {
  Tally tally;
  tally.errors = m_errors;
  tally.texts = m_texts;
  for (std::size_t thread = 0; thread < m_callers.size(); ++thread) {
    const Caller& caller = m_callers[thread];
    for (std::size_t call = 0; call < caller.outcomes.size(); ++call) {
      const int times = record.Times(NumberFor(thread, call));
      const Outcome outcome = caller.outcomes[call];
      const bool isExecuted = times > 0;
      ++tally.calls;
      tally.executed += isExecuted;
      tally.twice += times > 1;
      tally.wrongAnswers += outcome == Outcome::AnsweredWrongly;
      tally.lost += outcome == Outcome::Answered && !isExecuted;
      tally.notExecuted += outcome == Outcome::NotExecuted;
      tally.falselyNotExecuted += outcome == Outcome::NotExecuted && isExecuted;
      tally.perhapsExecuted += outcome == Outcome::PerhapsExecuted;
      tally.perhapsAndWasExecuted += outcome == Outcome::PerhapsExecuted && isExecuted;
    }
  }
  return tally;
}

}  // namespace Ferrolink::Tests
