#include "tests/fakes/jvm/FakeState.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "tests/fakes/jvm/FakeFaults.h"

namespace Ferrolink::Tests::FakeJvm {

const MethodEntry kSendCommand{"sendCommand", "([B)[B"};
const MethodEntry kHeartBeat{"heartBeat", "([B)[B"};
const MethodEntry kRuntimeInfo{"getRuntimeInfo", "()Ljava/lang/String;"};
const MethodEntry kApply{"apply", "(Ljava/lang/Object;)Ljava/lang/Object;"};

const char* ClassOf(const Object& object) {
  switch (object.kind) {
    case Object::Kind::ByteArray:
      return kByteArrayClass;
    case Object::Kind::String:
      return "java/lang/String";
    case Object::Kind::Callback:
      return kCallbackClass;
    case Object::Kind::Class:
      return "java/lang/Class";
    case Object::Kind::Plain:
      break;
  }
  return "java/lang/Object";
}

// Outlives every static destructor: the process's own exit still makes JNI calls.
State& SharedState() {
  static State& theState = *new State;
  return theState;
}

ThreadRecord& CurrentThread() {
  static std::atomic<unsigned long> lastNumber{0};
  static thread_local ThreadRecord record;
  if (record.number == 0) {
    record.number = ++lastNumber;
  }
  return record;
}

void Fatal(const std::string& text) {
  std::fprintf(stderr, "FakeJvm: %s\n", text.c_str());
  std::abort();
}

Effect Record(const std::string& text) {
  State& all = SharedState();
  all.calls.push_back({CurrentThread().number, text});
  if (const char* file = std::getenv("FAKE_JVM_CALLS")) {
    std::FILE* calls = std::fopen(file, "ae");
    std::fprintf(calls, "%s\n", text.c_str());
    std::fclose(calls);
  }
  Effect effect;
  for (ActiveInjection& active : all.injections) {
    const Injection& injection = active.injection;
    if (text.rfind(injection.call, 0) != 0) {
      continue;
    }
    active.seen += 1;
    if (injection.occurrence == 0 || injection.occurrence == active.seen) {
      effect.null = effect.null || injection.null;
      effect.exception = effect.exception || injection.exception;
      effect.result = injection.result ? injection.result : effect.result;
    }
  }
  TakeNumberedFault(effect);
  return effect;
}

EnvironmentCall::EnvironmentCall(JNIEnv* env, const std::string& text, WhilePending whilePending)
    : m_lock(SharedState().lock), m_environment(static_cast<Environment*>(env)), m_text(text) {
  const unsigned long caller = CurrentThread().number;
  if (env == nullptr) {
    Fatal(text + ": null JNIEnv");
  }
  if (m_environment->attachment == 0) {
    Fatal(text + ": JNIEnv of a detached thread");
  }
  if (m_environment->thread != caller) {
    Fatal(text + ": JNIEnv of another thread");
  }
  if (m_environment->exceptionPending && whilePending == WhilePending::Forbidden) {
    Fatal(text + ": called with a Java exception pending");
  }
  m_effect = Record(text);
}

EnvironmentCall::~EnvironmentCall() {
  if (m_effect.exception) {
    m_environment->exceptionPending = true;
  }
}

Reference& EnvironmentCall::Find(jobject reference) {
  if (reference == nullptr) {
    Fatal(m_text + ": null reference");
  }
  if (SharedState().referenceAddresses.count(reference) == 0) {
    Fatal(m_text + ": not a reference");
  }
  auto& found = *reinterpret_cast<Reference*>(reference);
  if (!found.live) {
    Fatal(m_text + ": reference used after its end");
  }
  if (found.attachment != 0 && found.attachment != m_environment->attachment) {
    Fatal(m_text + ": local reference of another thread");
  }
  if (found.attachment != 0 && found.frame != m_environment->frame) {
    Fatal(m_text + ": local reference of an outer frame");
  }
  return found;
}

std::shared_ptr<Object> EnvironmentCall::Use(jobject reference) {
  return Find(reference).object;
}

std::shared_ptr<Object> EnvironmentCall::Use(jobject reference, Object::Kind kind) {
  std::shared_ptr<Object> object = Use(reference);
  if (object->kind != kind) {
    Fatal(m_text + ": reference to an object of another class");
  }
  return object;
}

jobject EnvironmentCall::NewReference(std::shared_ptr<Object> object, unsigned long attachment) {
  State& all = SharedState();
  Reference& reference = all.references.emplace_back();
  reference.object = std::move(object);
  reference.attachment = attachment;
  const Environment* environment = CurrentThread().environment;
  reference.frame = attachment != 0 && environment != nullptr ? environment->frame : 0;
  all.referenceAddresses.insert(&reference);
  return reinterpret_cast<jobject>(&reference);
}

}  // namespace Ferrolink::Tests::FakeJvm
