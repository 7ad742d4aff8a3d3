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

/// The unread response of each thread, by thread id. A response that its thread never reads stays
/// until a thread with the same id stores or reads one.
///
/// Errors: std::bad_alloc. Lengths are in bytes. Thread rule: thread-safe. A thread reaches only
/// its own response.
class ThreadResponses {
 public:
  using Response = std::vector<std::uint8_t>;

  ThreadResponses();
  ThreadResponses(const ThreadResponses&) = delete;
  ThreadResponses& operator=(const ThreadResponses&) = delete;
  ~ThreadResponses();

  /// Replaces the calling thread's response. If memory runs out (std::bad_alloc), the earlier
  /// response stays.
  void Store(const std::uint8_t* bytes, std::size_t length);
  void Store(Response response);

  /// An empty response to fill and store. Reuses the block that the thread has kept.
  Response Room();
  /// As Room, but with the earlier contents, so callers that overwrite them save zeroing.
  Response UsedRoom();

  /// Copies at most `length` bytes of the calling thread's response into `buffer` and discards all
  /// of it. A negative length copies the whole response. False if there is none.
  bool Read(std::uint8_t* buffer, int length);

  void Forget();

 private:
  /// Used only by the thread with its id. The flag publishes it to a later thread that gets the
  /// same id.
  struct Entry {
    std::atomic<bool> waiting{false};
    Response bytes;
    std::size_t charged = 0;  ///< this entry's share of the total of kept blocks, in bytes
  };

  using Entries = std::unordered_map<std::thread::id, Entry>;

  Entry& OwnEntry();
  Entry& LookUpOwnEntry();
  static void Release(Entry& entry);
  static void KeepOrFree(Entry& entry);

  static bool NoticeEndOfThisThread();
  static void EndThisThread(void* mark);
  void DropOwnEntry();

  // Unique among all objects of the process, also later ones.
  const unsigned long m_number;

  // Guarded by m_mutex, which is held for a look-up only. Entries do not move. Each thread looks up
  // its entry once, and keeps its block for the next response until the thread ends.
  std::mutex m_mutex;
  Entries m_entries;

  // Links in the list of all objects, which ending threads walk. Guarded by the list's lock.
  ThreadResponses* m_next = nullptr;
  ThreadResponses* m_previous = nullptr;
};

}  // namespace Ferrolink::Native

#endif
