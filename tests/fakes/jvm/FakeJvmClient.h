#ifndef FERROLINK_TESTS_FAKES_JVM_FAKEJVMCLIENT_H
#define FERROLINK_TESTS_FAKES_JVM_FAKEJVMCLIENT_H

#include <dlfcn.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/fakes/jvm/FakeFaults.h"
#include "tests/fakes/jvm/FakeJvm.h"

namespace Ferrolink::Tests {

/// A test's grip on the fake JVM library, which it keeps open unless told to let go.
class FakeJvmClient {
 public:
  explicit FakeJvmClient(const std::string& path, int flags = RTLD_NOW | RTLD_LOCAL)
      : m_library(dlopen(path.c_str(), flags)) {
    if (m_library == nullptr) {
      throw std::runtime_error("cannot open the fake JVM library " + path);
    }
  }

  FakeJvm::Script& Script() { return *Find<decltype(FakeJvmScript)>("fakeJvm_script")(); }

  void Inject(const FakeJvm::Injection& injection) {
    Find<decltype(FakeJvmInject)>("fakeJvm_inject")(&injection);
  }
  void ClearInjections() { Find<decltype(FakeJvmClearInjections)>("fakeJvm_clearInjections")(); }

  void FailCall(const FakeJvm::NumberedFault& fault) {
    Find<decltype(FakeJvmFailCall)>("fakeJvm_failCall")(&fault);
  }
  void InsideNewByteArray(const std::function<void()>& inside) {
    Find<decltype(FakeJvmInsideNewByteArray)>("fakeJvm_insideNewByteArray")(&inside);
  }
  bool FailedCall() { return Find<decltype(FakeJvmFailedCall)>("fakeJvm_failedCall")(); }

  std::vector<FakeJvm::Call> CallsByThread() {
    std::vector<FakeJvm::Call> calls;
    Find<decltype(FakeJvmCalls)>("fakeJvm_calls")(&calls);
    return calls;
  }
  std::vector<std::string> Calls() {
    std::vector<std::string> texts;
    for (const FakeJvm::Call& call : CallsByThread()) {
      texts.push_back(call.text);
    }
    return texts;
  }
  long CountCalls(const std::string& start) {
    long count = 0;
    for (const std::string& call : Calls()) {
      count += call.rfind(start, 0) == 0 ? 1 : 0;
    }
    return count;
  }
  void ClearCalls() { Find<decltype(FakeJvmClearCalls)>("fakeJvm_clearCalls")(); }

  FakeJvm::Counts Counts() {
    FakeJvm::Counts counts;
    Find<decltype(FakeJvmCounts)>("fakeJvm_counts")(&counts);
    return counts;
  }
  std::vector<FakeJvm::Creation> Creations() {
    std::vector<FakeJvm::Creation> creations;
    Find<decltype(FakeJvmCreations)>("fakeJvm_creations")(&creations);
    return creations;
  }
  unsigned long CurrentThread() {
    return Find<decltype(FakeJvmCurrentThread)>("fakeJvm_currentThread")();
  }
  JavaVM* StartJvm() { return Find<decltype(FakeJvmStartJvm)>("fakeJvm_startJvm")(); }
  void ReturnToJava() { Find<decltype(FakeJvmReturnToJava)>("fakeJvm_returnToJava")(); }
  JavaVM* FirstJvm() { return Find<decltype(FakeJvmFirstJvm)>("fakeJvm_firstJvm")(); }
  void MakeCallback(jobject& object, jmethodID& method) {
    Find<decltype(FakeJvmMakeCallback)>("fakeJvm_makeCallback")(&object, &method);
  }
  jobject MakeObject(bool withApply) {
    return Find<decltype(FakeJvmMakeObject)>("fakeJvm_makeObject")(withApply);
  }

  /// Nothing works any more after this.
  void LetGo() { dlclose(m_library); }

 private:
  template <class Function>
  Function* Find(const char* name) {
    return reinterpret_cast<Function*>(dlsym(m_library, name));
  }

  void* m_library;
};

}  // namespace Ferrolink::Tests

#endif
