#ifndef FERROLINK_TESTS_TRANSPORT_TRANSPORTFIXTURE_H
#define FERROLINK_TESTS_TRANSPORT_TRANSPORTFIXTURE_H

#include <string>
#include <thread>
#include <vector>

#include "tests/support/ProcessCase.h"

/// A tree with fake siblings, and the calls on them.
namespace Ferrolink::Tests {

class SiblingTree {
 public:
  /// Puts a fake under a sibling's file name ("Cpp" means its runtime library).
  void AddRuntime(const std::string& runtime, const char* fake);
  void AddLibrary(const std::string& fileName, const char* fake);

  CaseResult Run(const std::string& name, CaseOptions options = {});

  /// The same as Run, with the calls of the loader.
  CaseResult RunWithLoader(const std::string& name, CaseOptions options = {});

  /// The calls in order, each "<short library name>: <call>".
  [[nodiscard]] std::string Calls() const;

  [[nodiscard]] const InstallationTree& Tree() const { return m_tree; }

 private:
  InstallationTree m_tree;
};

/// For bodies: `hook` is called inside every call of the sibling with that file name, on the
/// caller's thread; null removes it. Opens the library and keeps it open.
void HookSibling(const std::string& fileName, void (*hook)(const char* call));

/// For bodies: whether no thread holds the lock now.
template <class Mutex>
bool IsFree(Mutex& mutex) {
  bool locked = false;
  std::thread([&] {
    locked = mutex.try_lock();
    if (locked) {
      mutex.unlock();
    }
  }).join();
  return locked;
}

}  // namespace Ferrolink::Tests

#endif
