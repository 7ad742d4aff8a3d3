#include "native/WriteSignalGuard.h"

#include <cerrno>
#include <ctime>

namespace Ferrolink::Native {
namespace {

// The thread's own pending signal is taken before one of the whole process.
void TakeAway(int number) {
  sigset_t signal;
  sigemptyset(&signal);
  sigaddset(&signal, number);
  const timespec atOnce{};
  while (sigtimedwait(&signal, nullptr, &atOnce) < 0 && errno == EINTR) {
  }
}

}  // namespace

WriteSignalGuard::WriteSignalGuard() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  sigaddset(&signals, SIGXFSZ);
  m_blocks = sigpending(&m_pendingBefore) == 0 &&
             pthread_sigmask(SIG_BLOCK, &signals, &m_previousMask) == 0;
}

WriteSignalGuard::~WriteSignalGuard() {
  if (!m_blocks) {
    return;
  }
  if (m_closedPipe && sigismember(&m_pendingBefore, SIGPIPE) == 0) {
    TakeAway(SIGPIPE);
  }
  if (m_sizeLimit && sigismember(&m_pendingBefore, SIGXFSZ) == 0) {
    TakeAway(SIGXFSZ);
  }
  pthread_sigmask(SIG_SETMASK, &m_previousMask, nullptr);
}

void WriteSignalGuard::Failed(int error) {
  m_closedPipe = m_closedPipe || error == EPIPE;
  m_sizeLimit = m_sizeLimit || error == EFBIG;
}

}  // namespace Ferrolink::Native
