#include "jvm/NativeError.h"

#include <pthread.h>

#include <exception>
#include <mutex>
#include <new>

#include "native/ThreadLocal.h"

namespace Ferrolink::Runtimes::Jvm::Native::NativeError {
namespace {

std::mutex errorMessageMutex;  // held for a copy only

// Never destroyed: threads may fail while the process exits.
std::string& errorMessage = *new std::string("Undefined error");

/// Storage for a thread's own text. Plain data: the string in it is constructed by the first
/// failure and destroyed by hand at the thread's end, after the thread-locals with destructors.
struct OwnText {
  alignas(std::string) unsigned char room[sizeof(std::string)];
  bool made;
  bool waiting;
};
FERROLINK_THREAD_LOCAL OwnText own{};

std::string& OwnString() {
  return *std::launder(reinterpret_cast<std::string*>(own.room));
}

// Later destructors of this thread may store texts. The thread then gets new storage, and this runs
// again.
void EndThisThread(void* /*mark*/) {
  if (own.made) {
    OwnString().~basic_string();
  }
  own.made = false;
  own.waiting = false;
}

struct ThreadEndKey {
  pthread_key_t key;
  bool made;
};

// A key of the threads library, made once and never deleted. Its destructor is code of a library
// that stays mapped, and does not run when the process exits.
bool NoticeEndOfThisThread() {
  static const ThreadEndKey end = [] {
    ThreadEndKey made{};
    made.made = pthread_key_create(&made.key, &EndThisThread) == 0;
    return made;
  }();
  return end.made && pthread_setspecific(end.key, &own) == 0;
}

void Assign(std::string& to, const char* text) noexcept {
  try {
    to = text;
  } catch (const std::exception&) {
    to = "std::bad_alloc";  // short enough to need no memory
  }
}

// A thread whose end is not noticed gets no text of its own, because nothing would free it.
void StoreOwn(const char* text) noexcept {
  if (!own.made) {
    if (!NoticeEndOfThisThread()) {
      return;
    }
    new (own.room) std::string();
    own.made = true;
  }
  Assign(OwnString(), text);
  own.waiting = true;
}

}  // namespace

void Store(const char* text) noexcept {
  StoreOwn(text);
  const std::lock_guard<std::mutex> lock(errorMessageMutex);
  Assign(errorMessage, text);
}

std::string Text() {
  if (own.waiting) {
    return OwnString();
  }
  const std::lock_guard<std::mutex> lock(errorMessageMutex);
  return errorMessage;
}

void ForgetOwn() noexcept {
  if (!own.waiting) {
    return;
  }
  own.waiting = false;
  std::string().swap(OwnString());
}

}  // namespace Ferrolink::Runtimes::Jvm::Native::NativeError
