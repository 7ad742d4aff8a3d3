#include "tests/native/ClockProbe.h"

#include <cerrno>
#include <mutex>
#include <utility>

extern "C" {
std::time_t __real_time(std::time_t* result);
std::time_t __wrap_time(std::time_t* result);
int __wrap_nanosleep(const timespec* wanted, timespec* left);
}

namespace Ferrolink::Tests::ClockProbe {
namespace {

struct State {
  std::mutex mutex;
  std::time_t now = 0;
  std::vector<std::string> pauses;
  long interruptedWith = 0;
  int error = 0;
  std::function<void()> action;
};

State& SharedState() {
  static State instance;
  return instance;
}

}  // namespace

void SetTime(std::time_t now) {
  const std::lock_guard lock(SharedState().mutex);
  SharedState().now = now;
}

std::vector<std::string> Pauses() {
  const std::lock_guard lock(SharedState().mutex);
  return SharedState().pauses;
}

void InterruptNextPause(long nanoseconds) {
  const std::lock_guard lock(SharedState().mutex);
  SharedState().interruptedWith = nanoseconds;
}

void FailPauses(int error) {
  const std::lock_guard lock(SharedState().mutex);
  SharedState().error = error;
}

void OnPause(std::function<void()> action) {
  const std::lock_guard lock(SharedState().mutex);
  SharedState().action = std::move(action);
}

}  // namespace Ferrolink::Tests::ClockProbe

using Ferrolink::Tests::ClockProbe::SharedState;

std::time_t __wrap_time(std::time_t* result) {
  std::time_t now = 0;
  {
    const std::lock_guard lock(SharedState().mutex);
    now = SharedState().now;
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
  const std::lock_guard lock(SharedState().mutex);
  SharedState().pauses.push_back(std::to_string(wanted->tv_sec) + " s " +
                                 std::to_string(wanted->tv_nsec) + " ns");
  if (SharedState().action) {
    SharedState().action();
  }
  if (SharedState().error != 0) {
    errno = SharedState().error;
    return -1;
  }
  if (const long remaining = std::exchange(SharedState().interruptedWith, 0); remaining != 0) {
    *left = {0, remaining};
    errno = EINTR;
    return -1;
  }
  return 0;
}
