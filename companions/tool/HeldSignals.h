#ifndef FERROLINK_COMPANIONS_TOOL_HELDSIGNALS_H
#define FERROLINK_COMPANIONS_TOOL_HELDSIGNALS_H

#include <csignal>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tool {

/// Holds the signals that ask this process to end, and SIGCHLD, while it waits for a child. Those
/// that arrive and are not taken take effect at the release. A signal that this process ignores is
/// not held, except SIGCHLD, which has its default action until the release. A fork that releases
/// has the action and the mask of before; a child by posix_spawn gets the default action. Thread
/// rule: threads that exist already are not held back; make it before them.
class HeldSignals {
 public:
  HeldSignals();
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() { Release(); }

  /// Idempotent.
  void Release() const;

  /// Waits for a signal and takes it.
  [[nodiscard]] int Wait() const;

  /// A descriptor that can be read from while a signal that asks to end is held. -1 if there is
  /// none.
  [[nodiscard]] int Arrival() const { return m_arrival.get(); }

  /// The signals that were blocked before: the mask of a child.
  [[nodiscard]] const sigset_t& Before() const { return m_before; }

 private:
  sigset_t m_held{};
  sigset_t m_before{};
  struct sigaction m_endOfChild {};  // of before
  FileDescriptor m_arrival;
};

}  // namespace Ferrolink::Companions::Tool

#endif
