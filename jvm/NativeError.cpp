#include "jvm/NativeError.h"

#include <pthread.h>

#include <exception>
#include <mutex>
#include <new>

#include "native/ReentryGuard.h"

namespace NativeError {
namespace {

std::mutex errorMessageMutex;  // held for a copy only

// Never destroyed: threads may still fail while the process exits.
std::string& errorMessage = *new std::string("Undefined error");

/// Room for a thread's own text. Plain data: the string in it is made by the first failure and
/// destroyed by hand at the thread's end, after the thread-locals that have destructors.
struct OwnText {
  alignas(std::string) unsigned char room[sizeof(std::string)];
  bool made;
  bool waiting;
};
FERROLINK_THREAD_LOCAL OwnText own{};

std::string& OwnString() {
  return *std::launder(reinterpret_cast<std::string*>(own.room));
}

// Other destructors of this thread may fail after this: the thread then begins anew, and this runs
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

// A key of the threads library, made once and never given back: its destructor is code of a library
// that stays mapped, and runs for no thread when the process exits.
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

// Where the end of the thread would go unnoticed, it has no text of its own: that would never be
// freed.
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

}  // namespace NativeError
