#include "bench/harness/Team.h"

#include <immintrin.h>
#include <sched.h>

#include <algorithm>
#include <chrono>

namespace Ferrolink::Bench {
namespace {

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::vector<std::size_t> UsableProcessors() {
  cpu_set_t allowed;
  std::vector<std::size_t> processors;
  if (sched_getaffinity(0, sizeof allowed, &allowed) == 0) {
    for (std::size_t processor = 0; processor < CPU_SETSIZE; ++processor) {
      if (CPU_ISSET(processor, &allowed)) {
        processors.push_back(processor);
      }
    }
  }
  return processors;
}

// Pins the thread: two threads woken by the same one would often share its processor.
void KeepToProcessor(std::size_t processor) {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(processor, &one);
  sched_setaffinity(0, sizeof one, &one);
}

}  // namespace

Team::Team(std::size_t threads, const Hook& begin, const Hook& end)
    : m_pinned(threads <= UsableProcessors().size()), m_members(threads) {
  for (std::size_t thread = 0; thread < threads; ++thread) {
    m_members[thread].thread =
        std::thread([this, thread, begin, end] { Serve(thread, begin, end); });
  }
}

Team::~Team() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_work = nullptr;
    ++m_turn;
  }
  m_begin.notify_all();
  for (Member& member : m_members) {
    member.thread.join();
  }
}

double Team::Run(const Work& work, long calls) {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_work = &work;
  m_calls = calls;
  m_busy = m_members.size();
  m_ready.store(0);
  ++m_turn;
  m_begin.notify_all();
  m_end.wait(lock, [this] { return m_busy == 0; });
  Moment begin = m_members.front().begin;
  Moment end = m_members.front().end;
  for (const Member& member : m_members) {
    begin = std::min(begin, member.begin);
    end = std::max(end, member.end);
  }
  return static_cast<double>(end - begin);
}

void Team::Serve(std::size_t thread, const Hook& begin, const Hook& end) {
  if (m_pinned) {
    KeepToProcessor(UsableProcessors()[thread]);
  }
  begin();
  Member& member = m_members[thread];
  for (unsigned turn = 0; AwaitTurn(turn);) {
    Meet();
    member.begin = Now();
    (*m_work)(thread, m_calls);
    member.end = Now();
    Finish();
  }
  end();
}

// False if there is no further turn. The work stays unchanged until all threads have finished it.
bool Team::AwaitTurn(unsigned& turn) {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_begin.wait(lock, [&] { return m_turn != turn; });
  turn = m_turn;
  return m_work != nullptr;
}

// Threads with processors of their own begin together, because a wake-up takes longer than some
// turns. Other threads take turns on the processors anyway.
void Team::Meet() {
  if (m_pinned) {
    m_ready.fetch_add(1);
    while (m_ready.load() < m_members.size()) {
      _mm_pause();
    }
  }
}

void Team::Finish() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (--m_busy == 0) {
    m_end.notify_one();
  }
}

}  // namespace Ferrolink::Bench
