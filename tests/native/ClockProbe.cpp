#include "tests/native/ClockProbe.h"

#include <cerrno>
#include <mutex>
#include <utility>

extern "C" {
std::time_t __real_time(std::time_t* result);
std::time_t __wrap_time(std::time_t* result);
int __wrap_nanosleep(const timespec* wanted, timespec* left);
}

namespace FerrolinkTest::ClockProbe {
namespace {

struct State {
  std::mutex mutex;
  std::time_t now = 0;
  std::vector<std::string> pauses;
  long interruptedWith = 0;
  int error = 0;
  std::function<void()> action;
};

State& state() {
  static State instance;
  return instance;
}

}  // namespace

void setTime(std::time_t now) {
  const std::lock_guard lock(state().mutex);
  state().now = now;
}

std::vector<std::string> pauses() {
  const std::lock_guard lock(state().mutex);
  return state().pauses;
}

void interruptNextPause(long nanoseconds) {
  const std::lock_guard lock(state().mutex);
  state().interruptedWith = nanoseconds;
}

void failPauses(int error) {
  const std::lock_guard lock(state().mutex);
  state().error = error;
}

void onPause(std::function<void()> action) {
  const std::lock_guard lock(state().mutex);
  state().action = std::move(action);
}

}  // namespace FerrolinkTest::ClockProbe

using FerrolinkTest::ClockProbe::state;

std::time_t __wrap_time(std::time_t* result) {
  std::time_t now = 0;
  {
    const std::lock_guard lock(state().mutex);
    now = state().now;
  }
  if (now == 0) {
    return __real_time(result);
  }
  if (result != nullptr) {
    *result = now;
  }
  return now;
}

int __wrap_nanosleep(const timespec* wanted, timespec* left) {
  const std::lock_guard lock(state().mutex);
  state().pauses.push_back(std::to_string(wanted->tv_sec) + " s " +
                           std::to_string(wanted->tv_nsec) + " ns");
  if (state().action) {
    state().action();
  }
  if (state().error != 0) {
    errno = state().error;
    return -1;
  }
  if (const long remaining = std::exchange(state().interruptedWith, 0); remaining != 0) {
    *left = {0, remaining};
    errno = EINTR;
    return -1;
  }
  return 0;
}
