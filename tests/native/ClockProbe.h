#ifndef FERROLINK_TESTS_NATIVE_CLOCKPROBE_H
#define FERROLINK_TESTS_NATIVE_CLOCKPROBE_H

#include <ctime>
#include <functional>
#include <string>
#include <vector>

/// Takes the place of `time` and `nanosleep` in a test's executable, which must be linked with
/// ferrolink_wrap(<target> time nanosleep). Pauses are recorded, not slept. Any thread.
namespace Ferrolink::Tests::ClockProbe {

/// From now on the time is `now`; before the first call it is the real one.
void SetTime(std::time_t now);

/// The pauses asked for so far, each as "<seconds> s <nanoseconds> ns".
std::vector<std::string> Pauses();

/// Has the next pause interrupted by a signal with `nanoseconds` left to sleep.
void InterruptNextPause(long nanoseconds);

/// Has every pause fail with `error`.
void FailPauses(int error);

/// Calls `action` at every pause, on the thread that pauses.
void OnPause(std::function<void()> action);

}  // namespace Ferrolink::Tests::ClockProbe

#endif
