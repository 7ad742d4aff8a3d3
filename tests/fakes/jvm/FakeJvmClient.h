#ifndef FERROLINK_TESTS_FAKES_JVM_FAKEJVMCLIENT_H
#define FERROLINK_TESTS_FAKES_JVM_FAKEJVMCLIENT_H

#include <dlfcn.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/fakes/jvm/FakeFaults.h"
#include "tests/fakes/jvm/FakeJvm.h"

namespace FerrolinkTest {

/// A test's grip on the fake JVM library, which it keeps open unless told to let go.
class FakeJvmClient {
 public:
  explicit FakeJvmClient(const std::string& path, int flags = RTLD_NOW | RTLD_LOCAL)
      : m_library(dlopen(path.c_str(), flags)) {
    if (m_library == nullptr) {
      throw std::runtime_error("cannot open the fake JVM library " + path);
    }
  }

  FakeJvm::Script& script() { return *find<decltype(fakeJvm_script)>("fakeJvm_script")(); }

  void inject(const FakeJvm::Injection& injection) {
    find<decltype(fakeJvm_inject)>("fakeJvm_inject")(&injection);
  }
  void clearInjections() { find<decltype(fakeJvm_clearInjections)>("fakeJvm_clearInjections")(); }

  void failCall(const FakeJvm::NumberedFault& fault) {
    find<decltype(fakeJvm_failCall)>("fakeJvm_failCall")(&fault);
  }
  void insideNewByteArray(const std::function<void()>& inside) {
    find<decltype(fakeJvm_insideNewByteArray)>("fakeJvm_insideNewByteArray")(&inside);
  }
  bool failedCall() { return find<decltype(fakeJvm_failedCall)>("fakeJvm_failedCall")(); }

  std::vector<FakeJvm::Call> callsByThread() {
    std::vector<FakeJvm::Call> calls;
    find<decltype(fakeJvm_calls)>("fakeJvm_calls")(&calls);
    return calls;
  }
  std::vector<std::string> calls() {
    std::vector<std::string> texts;
    for (const FakeJvm::Call& call : callsByThread()) {
      texts.push_back(call.text);
    }
    return texts;
  }
  long countCalls(const std::string& start) {
    long count = 0;
    for (const std::string& call : calls()) {
      count += call.rfind(start, 0) == 0 ? 1 : 0;
    }
    return count;
  }
  void clearCalls() { find<decltype(fakeJvm_clearCalls)>("fakeJvm_clearCalls")(); }

  FakeJvm::Counts counts() {
    FakeJvm::Counts counts;
    find<decltype(fakeJvm_counts)>("fakeJvm_counts")(&counts);
    return counts;
  }
  std::vector<FakeJvm::Creation> creations() {
    std::vector<FakeJvm::Creation> creations;
    find<decltype(fakeJvm_creations)>("fakeJvm_creations")(&creations);
    return creations;
  }
  unsigned long currentThread() {
    return find<decltype(fakeJvm_currentThread)>("fakeJvm_currentThread")();
  }
  JavaVM* startJvm() { return find<decltype(fakeJvm_startJvm)>("fakeJvm_startJvm")(); }
  void returnToJava() { find<decltype(fakeJvm_returnToJava)>("fakeJvm_returnToJava")(); }
  JavaVM* firstJvm() { return find<decltype(fakeJvm_firstJvm)>("fakeJvm_firstJvm")(); }
  void makeCallback(jobject& object, jmethodID& method) {
    find<decltype(fakeJvm_makeCallback)>("fakeJvm_makeCallback")(&object, &method);
  }
  jobject makeObject(bool withApply) {
    return find<decltype(fakeJvm_makeObject)>("fakeJvm_makeObject")(withApply);
  }

  /// Nothing works any more after this.
  void letGo() { dlclose(m_library); }

 private:
  template <class Function>
  Function* find(const char* name) {
    return reinterpret_cast<Function*>(dlsym(m_library, name));
  }

  void* m_library;
};

}  // namespace FerrolinkTest

#endif
