#ifndef FERROLINK_NATIVE_THREADRESPONSES_H
#define FERROLINK_NATIVE_THREADRESPONSES_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace Ferrolink::Native {

/// The last response of each thread that has not read it yet. Threads are told apart by their ids,
/// so that concurrent callers each read their own; a response that its thread never reads stays
/// until a thread with the same id stores or reads.
/// Thread rule: any thread, each on its own response alone.
class ThreadResponses {
 public:
  using Response = std::vector<std::uint8_t>;

  ThreadResponses();
  ThreadResponses(const ThreadResponses&) = delete;
  ThreadResponses& operator=(const ThreadResponses&) = delete;
  ~ThreadResponses();

  /// Replaces the calling thread's response, which stays where memory runs out (std::bad_alloc).
  void Store(const std::uint8_t* bytes, std::size_t length);
  void Store(Response response);

  /// An empty response to fill and store, which makes use of a block that the thread has kept.
  Response Room();
  /// The same with an earlier response in it, for those who overwrite: it needs no zeros.
  Response UsedRoom();

  /// Copies the calling thread's response into `buffer`, as much of it as `length` bytes hold, and
  /// forgets all of it. A negative length copies the whole response. False where there is none.
  bool Read(std::uint8_t* buffer, int length);

  void Forget();

 private:
  /// Belongs to the thread whose id it is kept under; the flag hands it on where a later thread is
  /// given the same id.
  struct Entry {
    std::atomic<bool> waiting{false};
    Response bytes;
    std::size_t charged = 0;  ///< how much of what threads keep together is this entry's
  };

  using Entries = std::unordered_map<std::thread::id, Entry>;

  Entry& OwnEntry();
  Entry& LookUpOwnEntry();
  static void Release(Entry& entry);
  static void KeepOrFree(Entry& entry);

  static bool NoticeEndOfThisThread();
  static void EndThisThread(void* mark);
  void DropOwnEntry();

  // Tells this object from all others that ever were.
  const unsigned long m_number;

  // Guarded by m_mutex, held for a look-up only. Entries stay where they are: each thread looks its
  // own up once, and keeps its block for the next response until it ends.
  std::mutex m_mutex;
  Entries m_entries;

  // The list of all objects of the process, for threads that end. Guarded by its lock.
  ThreadResponses* m_next = nullptr;
  ThreadResponses* m_previous = nullptr;
};

}  // namespace Ferrolink::Native

#endif
