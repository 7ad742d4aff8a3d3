#include "companions/tcp/server/HangUpSignal.h"

#include <fcntl.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// Read by the signal handler, on any thread. -1 while no object listens.
std::atomic<int> g_event{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void Hear(int /*signal*/) {
  const int saved = errno;
  if (const int event = g_event.load(); event >= 0) {
    eventfd_write(event, 1);
  }
  errno = saved;
}

FileDescriptor MakeEvent() {
  FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!event.Owns()) {
    throw std::system_error(errno, std::system_category(), "Cannot make an eventfd");
  }
  return event;
}

}  // namespace

HangUpSignal::HangUpSignal(asio::io_context& context, std::function<void()> heard)
    : m_heard(std::move(heard)), m_event(MakeEvent()), m_readiness(context, m_event.get()) {
  g_event.store(m_event.get());
  struct sigaction action {};
  action.sa_handler = Hear;
  action.sa_flags = SA_RESTART;
  sigaction(SIGHUP, &action, nullptr);
  Await();
}

// The owner of the event closes the descriptor.
HangUpSignal::~HangUpSignal() {
  Ignore();
  m_readiness.release();
}

void HangUpSignal::Ignore() {
  if (m_isIgnored) {
    return;
  }
  m_isIgnored = true;
  std::signal(SIGHUP, SIG_IGN);
  g_event.store(-1);
  asio::error_code ignored;
  m_readiness.cancel(ignored);
}

void HangUpSignal::Await() {
  m_readiness.async_wait(asio::posix::descriptor_base::wait_read,
                         [this](const asio::error_code& error) {
                           if (error || m_isIgnored) {
                             return;
                           }
                           eventfd_t signals = 0;
                           eventfd_read(m_event.get(), &signals);
                           m_heard();
                           Await();
                         });
}

}  // namespace Ferrolink::Companions::Tcp::Server
