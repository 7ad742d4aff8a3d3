#ifndef FERROLINK_COMPANIONS_CPP_THREADRESPONSES_H
#define FERROLINK_COMPANIONS_CPP_THREADRESPONSES_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <vector>

namespace Ferrolink::Runtimes::Cpp::Native {

/// The last response of each thread that has not read it yet. Any thread; each sees its own alone.
/// One that its thread never reads stays until a thread with the same id comes.
class ThreadResponses {
 public:
  using Response = std::vector<std::uint8_t>;

  /// Replaces the calling thread's response. Where memory runs out (std::bad_alloc) the old one may
  /// still be there.
  void store(Response response);

  /// The calling thread's response, which is then forgotten; none where it has none.
  std::optional<Response> take();

 private:
  // Guarded by m_mutex, held for a look-up only.
  std::mutex m_mutex;
  std::unordered_map<std::thread::id, Response> m_responses;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native

#endif
