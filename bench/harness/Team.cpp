#include "bench/harness/Team.h"

#include <immintrin.h>
#include <sched.h>

#include <algorithm>
#include <chrono>

namespace FerrolinkBench {
namespace {

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::vector<std::size_t> usableProcessors() {
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

// Woken by the same thread, two would often share its processor and take turns.
void keepToProcessor(std::size_t processor) {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(processor, &one);
  sched_setaffinity(0, sizeof one, &one);
}

}  // namespace

Team::Team(std::size_t threads, const Hook& begin, const Hook& end)
    : m_pinned(threads <= usableProcessors().size()), m_members(threads) {
  for (std::size_t thread = 0; thread < threads; ++thread) {
    m_members[thread].thread =
        std::thread([this, thread, begin, end] { serve(thread, begin, end); });
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

double Team::run(const Work& work, long calls) {
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

void Team::serve(std::size_t thread, const Hook& begin, const Hook& end) {
  if (m_pinned) {
    keepToProcessor(usableProcessors()[thread]);
  }
  begin();
  Member& member = m_members[thread];
  for (unsigned turn = 0; awaitTurn(turn);) {
    meet();
    member.begin = now();
    (*m_work)(thread, m_calls);
    member.end = now();
    finish();
  }
  end();
}

// False where there is none left. The work stays as it is until all threads have finished it.
bool Team::awaitTurn(unsigned& turn) {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_begin.wait(lock, [&] { return m_turn != turn; });
  turn = m_turn;
  return m_work != nullptr;
}

// Waking up takes longer than some turns last, so threads with processors of their own begin
// together. Others take turns on the processors anyway.
void Team::meet() {
  if (m_pinned) {
    m_ready.fetch_add(1);
    while (m_ready.load() < m_members.size()) {
      _mm_pause();
    }
  }
}

void Team::finish() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (--m_busy == 0) {
    m_end.notify_one();
  }
}

}  // namespace FerrolinkBench
