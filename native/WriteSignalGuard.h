#ifndef FERROLINK_NATIVE_WRITESIGNALGUARD_H
#define FERROLINK_NATIVE_WRITESIGNALGUARD_H

#include <signal.h>

namespace Ferrolink::Native {

/// Keeps a failing write from ending the host: SIGPIPE (a pipe that nobody reads) and SIGXFSZ (the
/// process's file size limit) are blocked on this thread as long as the guard lives.
///
/// The kernel raises both on the thread that writes. Only a signal that a failed write reported to
/// the guard is taken away; one that was pending before, or that somebody else sent meanwhile,
/// stays. Belongs to one thread. Throws nothing; changes errno.
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
