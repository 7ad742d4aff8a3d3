#ifndef FERROLINK_NATIVE_REENTRYGUARD_H
#define FERROLINK_NATIVE_REENTRYGUARD_H

namespace Ferrolink::Native {

/// Marks a stretch of code that the same thread must not enter a second time while inside it. The
/// flag is a thread-local bool of the code that guards itself; the outermost guard clears it again.
class ReentryGuard {
 public:
  explicit ReentryGuard(bool& inside) : m_inside(inside), m_outermost(!inside) { inside = true; }
  ReentryGuard(const ReentryGuard&) = delete;
  ReentryGuard& operator=(const ReentryGuard&) = delete;
  ~ReentryGuard() { m_inside = !m_outermost; }

  /// False where this thread was inside already.
  [[nodiscard]] bool Outermost() const { return m_outermost; }

 private:
  bool& m_inside;
  const bool m_outermost;
};

// Thread-locals of the library are plain data in the static TLS block: no loader call to reach
// them, no destructor to run when a thread ends.
#define FERROLINK_THREAD_LOCAL __attribute__((tls_model("initial-exec"))) thread_local

}  // namespace Ferrolink::Native

#endif
