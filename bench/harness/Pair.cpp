#include "bench/harness/Pair.h"

#include <immintrin.h>
#include <sched.h>

#include <algorithm>
#include <chrono>

namespace FerrolinkBench {
namespace {

constexpr unsigned kThreads = 2;

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// Woken by the same thread, both would often share its processor and take turns.
void keepToProcessor(int number) {
  cpu_set_t allowed;
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) {
    return;
  }
  for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
    if (CPU_ISSET(processor, &allowed) && number-- == 0) {
      cpu_set_t one;
      CPU_ZERO(&one);
      CPU_SET(processor, &one);
      sched_setaffinity(0, sizeof one, &one);
    }
  }
}

}  // namespace

Pair::Pair(const Hook& begin, const Hook& end) {
  for (int thread = 0; thread < static_cast<int>(kThreads); ++thread) {
    m_threads.at(static_cast<std::size_t>(thread)) =
        std::thread([this, thread, begin, end] { serve(thread, begin, end); });
  }
}

Pair::~Pair() {
  m_work = nullptr;
  m_generation.fetch_add(1);
  m_generation.notify_all();
  for (std::thread& thread : m_threads) {
    thread.join();
  }
}

double Pair::run(const Work& work, long calls) {
  m_work = &work;
  m_calls = calls;
  m_ready.store(0);
  m_done.store(0);
  m_generation.fetch_add(1);
  m_generation.notify_all();
  for (unsigned done = m_done.load(); done < kThreads; done = m_done.load()) {
    m_done.wait(done);
  }
  return static_cast<double>(std::max(m_end[0], m_end[1]) - std::min(m_begin[0], m_begin[1]));
}

void Pair::serve(int thread, const Hook& begin, const Hook& end) {
  keepToProcessor(thread);
  begin();
  const auto index = static_cast<std::size_t>(thread);
  for (unsigned generation = 0;;) {
    m_generation.wait(generation);
    generation = m_generation.load();
    if (m_work == nullptr) {
      break;
    }
    // Waking up takes longer than some batches last: they begin together.
    m_ready.fetch_add(1);
    while (m_ready.load() < kThreads) {
      _mm_pause();
    }
    m_begin.at(index) = now();
    (*m_work)(thread, m_calls);
    m_end.at(index) = now();
    m_done.fetch_add(1);
    m_done.notify_one();
  }
  end();
}

}  // namespace FerrolinkBench
