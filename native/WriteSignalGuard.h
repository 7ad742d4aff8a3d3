#ifndef FERROLINK_NATIVE_WRITESIGNALGUARD_H
#define FERROLINK_NATIVE_WRITESIGNALGUARD_H

#include <signal.h>

namespace Ferrolink::Native {

/// Keeps a failing write from ending the host process: blocks SIGPIPE (closed pipe) and SIGXFSZ
/// (file size limit) on this thread while the guard lives.
///
/// The kernel sends both to the thread that writes. The guard discards a signal only if a failed
/// write was reported to it. Signals that were pending before, or that others sent meanwhile, stay.
/// Thread rule: belongs to one thread. Throws nothing. Changes errno.
class WriteSignalGuard {
 public:
  WriteSignalGuard();
  WriteSignalGuard(const WriteSignalGuard&) = delete;
  WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;
  ~WriteSignalGuard();

  /// Reports that a write failed with this error number.
  void Failed(int error);

 private:
  sigset_t m_previousMask{};
  sigset_t m_pendingBefore{};
  bool m_blocks = false;
  bool m_closedPipe = false;
  bool m_sizeLimit = false;
};

}  // namespace Ferrolink::Native

#endif
