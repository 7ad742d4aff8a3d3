#ifndef FERROLINK_TESTS_NATIVE_CLOCKPROBE_H
#define FERROLINK_TESTS_NATIVE_CLOCKPROBE_H

#include <ctime>
#include <functional>
#include <string>
#include <vector>

/// Replaces `time` and `nanosleep` in a test's executable, which is linked with
/// ferrolink_wrap(<target> time nanosleep). Pauses are recorded, not slept. Any thread.
namespace Ferrolink::Tests::ClockProbe {

/// Sets the time to `now`. Before the first call it is the real time.
void SetTime(std::time_t now);

/// The pauses so far, each as "<seconds> s <nanoseconds> ns".
std::vector<std::string> Pauses();

/// A signal interrupts the next pause with `nanoseconds` left.
void InterruptNextPause(long nanoseconds);

/// Every pause fails with `error`.
void FailPauses(int error);

/// Calls `action` at every pause, on the thread that pauses.
void OnPause(std::function<void()> action);

}  // namespace Ferrolink::Tests::ClockProbe

#endif
