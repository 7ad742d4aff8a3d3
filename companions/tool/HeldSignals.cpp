#include "companions/tool/HeldSignals.h"

#include <sys/signalfd.h>

namespace Ferrolink::Companions::Tool {
namespace {

bool IsIgnored(int number) {
  struct sigaction action {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

HeldSignals::HeldSignals() {
  // An ignored one would take the child's status away.
  struct sigaction usual {};
  usual.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &usual, &m_endOfChild);
  sigemptyset(&m_held);
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    // A blocked signal would be kept although it is ignored.
    if (!IsIgnored(number)) {
      sigaddset(&m_held, number);
    }
  }
  m_arrival = FileDescriptor(signalfd(-1, &m_held, SFD_CLOEXEC));
  sigaddset(&m_held, SIGCHLD);
  sigprocmask(SIG_BLOCK, &m_held, &m_before);
}

void HeldSignals::Release() const {
  sigaction(SIGCHLD, &m_endOfChild, nullptr);  // first: one that is ignored is then dropped
  sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

int HeldSignals::Wait() const {
  int number = 0;
  sigwait(&m_held, &number);
  return number;
}

}  // namespace Ferrolink::Companions::Tool
