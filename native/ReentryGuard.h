#ifndef FERROLINK_NATIVE_REENTRYGUARD_H
#define FERROLINK_NATIVE_REENTRYGUARD_H

namespace Ferrolink::Native {

/// Marks a section of code that a thread must not enter again while it is inside. The flag is a
/// thread-local bool of the code that is guarded; the outermost guard clears it.
///
/// Example:
///
///     thread_local bool printing = false;
///     const ReentryGuard guard(printing);
///     if (!guard.Outermost()) {
///       return;  // called by what this function calls
///     }
class ReentryGuard {
 public:
  explicit ReentryGuard(bool& inside) : m_inside(inside), m_outermost(!inside) { inside = true; }
  ReentryGuard(const ReentryGuard&) = delete;
  ReentryGuard& operator=(const ReentryGuard&) = delete;
  ~ReentryGuard() { m_inside = !m_outermost; }

  /// False if this thread was inside already.
  [[nodiscard]] bool Outermost() const { return m_outermost; }

 private:
  bool& m_inside;
  const bool m_outermost;
};

}  // namespace Ferrolink::Native

#endif
