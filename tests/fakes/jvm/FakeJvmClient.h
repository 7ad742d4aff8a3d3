#ifndef FERROLINK_TESTS_FAKES_JVM_FAKEJVMCLIENT_H
#define FERROLINK_TESTS_FAKES_JVM_FAKEJVMCLIENT_H

#include <dlfcn.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/fakes/jvm/FakeFaults.h"
#include "tests/fakes/jvm/FakeJvm.h"

namespace Ferrolink::Tests {

/// Gives a test access to the fake JVM library, which stays open until LetGo.
class FakeJvmClient {
 public:
  explicit FakeJvmClient(const std::string& path, int flags = RTLD_NOW | RTLD_LOCAL)
      : m_library(dlopen(path.c_str(), flags)) {
    if (m_library == nullptr) {
      throw std::runtime_error("cannot open the fake JVM library " + path);
    }
  }

  FakeJvm::Script& Script() { return *Find<decltype(FakeJvmScript)>("FakeJvmScript")(); }

  void Inject(const FakeJvm::Injection& injection) {
    Find<decltype(FakeJvmInject)>("FakeJvmInject")(&injection);
  }
  void ClearInjections() { Find<decltype(FakeJvmClearInjections)>("FakeJvmClearInjections")(); }

  void FailCall(const FakeJvm::NumberedFault& fault) {
    Find<decltype(FakeJvmFailCall)>("FakeJvmFailCall")(&fault);
  }
  void InsideNewByteArray(const std::function<void()>& inside) {
    Find<decltype(FakeJvmInsideNewByteArray)>("FakeJvmInsideNewByteArray")(&inside);
  }
  bool FailedCall() { return Find<decltype(FakeJvmFailedCall)>("FakeJvmFailedCall")(); }

  std::vector<FakeJvm::Call> CallsByThread() {
    std::vector<FakeJvm::Call> calls;
    Find<decltype(FakeJvmCalls)>("FakeJvmCalls")(&calls);
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
  void ClearCalls() { Find<decltype(FakeJvmClearCalls)>("FakeJvmClearCalls")(); }

  FakeJvm::Counts Counts() {
    FakeJvm::Counts counts;
    Find<decltype(FakeJvmCounts)>("FakeJvmCounts")(&counts);
    return counts;
  }
  std::vector<FakeJvm::Creation> Creations() {
    std::vector<FakeJvm::Creation> creations;
    Find<decltype(FakeJvmCreations)>("FakeJvmCreations")(&creations);
    return creations;
  }
  unsigned long CurrentThread() {
    return Find<decltype(FakeJvmCurrentThread)>("FakeJvmCurrentThread")();
  }
  JavaVM* StartJvm() { return Find<decltype(FakeJvmStartJvm)>("FakeJvmStartJvm")(); }
  void ReturnToJava() { Find<decltype(FakeJvmReturnToJava)>("FakeJvmReturnToJava")(); }
  JavaVM* FirstJvm() { return Find<decltype(FakeJvmFirstJvm)>("FakeJvmFirstJvm")(); }
  void MakeCallback(jobject& object, jmethodID& method) {
    Find<decltype(FakeJvmMakeCallback)>("FakeJvmMakeCallback")(&object, &method);
  }
  jobject MakeObject(bool withApply) {
    return Find<decltype(FakeJvmMakeObject)>("FakeJvmMakeObject")(withApply);
  }

  /// No other function may be called after this.
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
