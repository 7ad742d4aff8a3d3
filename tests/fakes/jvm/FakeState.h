#ifndef FERROLINK_TESTS_FAKES_JVM_FAKESTATE_H
#define FERROLINK_TESTS_FAKES_JVM_FAKESTATE_H

#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_set>

#include "tests/fakes/jvm/FakeJvm.h"

/// The fake's internals. One lock guards all of them; Java methods run without it.
namespace Ferrolink::Tests::FakeJvm {

struct Object {
  enum class Kind { Class, ByteArray, String, Callback, Plain };
  Kind kind = Kind::Class;
  std::string text;  ///< a class's name, a string's characters
  std::vector<jbyte> bytes;
};

/// Never freed, so that a use after release is distinct from a use of a later reference.
struct Reference {
  std::shared_ptr<Object> object;
  unsigned long attachment = 0;  ///< 0 for global references
  unsigned long frame = 0;       ///< of a local one: how many calls into Java its maker was inside
  bool live = true;
  bool counted = true;
};

struct Environment : JNIEnv {
  unsigned long thread = 0;
  unsigned long attachment = 0;  ///< 0 while detached
  unsigned long frame = 0;       ///< how many calls into Java the thread is inside
  bool exceptionPending = false;
};

struct Machine : JavaVM {
  int number = 0;
  bool destroyed = false;
};

struct MethodEntry {
  const char* name;
  const char* signature;
};

struct ActiveInjection {
  Injection injection;
  int seen = 0;
};

struct State {
  std::mutex lock;
  Script script;
  std::list<ActiveInjection> injections;
  std::vector<Call> calls;
  std::vector<Creation> creations;
  std::deque<Machine> machines;
  std::deque<Environment> environments;
  std::vector<Environment*> detachedEnvironments;
  std::deque<Reference> references;
  std::unordered_set<const void*> referenceAddresses;
  std::map<void*, Object*> elements;
  std::map<const void*, Object*> characters;
  unsigned long lastAttachment = 0;
  Counts counts;
};

State& SharedState();

/// The calling thread: a number that no other thread has, and its environment while attached.
struct ThreadRecord {
  unsigned long number = 0;
  Environment* environment = nullptr;
};
ThreadRecord& CurrentThread();

[[noreturn]] void Fatal(const std::string& text);

/// The effect of the injections on a call.
struct Effect {
  bool null = false;
  bool exception = false;
  std::optional<jint> result;
};

/// Records the call and applies the matching injections. The caller holds the lock.
Effect Record(const std::string& text);

/// One JNI call through an environment: locks, records, checks the thread and the pending
/// exception. Raises the injected exception at its end.
class EnvironmentCall {
 public:
  enum class WhilePending { Forbidden, Allowed };

  EnvironmentCall(JNIEnv* env, const std::string& text,
                  WhilePending whilePending = WhilePending::Forbidden);
  EnvironmentCall(const EnvironmentCall&) = delete;
  EnvironmentCall& operator=(const EnvironmentCall&) = delete;
  ~EnvironmentCall();

  [[nodiscard]] bool Null() const { return m_effect.null; }
  [[nodiscard]] const Effect& GetEffect() const { return m_effect; }
  [[nodiscard]] Environment& GetEnvironment() const { return *m_environment; }
  void unlock() { m_lock.unlock(); }
  void Relock() { m_lock.lock(); }

  /// The object behind a reference that this thread may use; of the given kind.
  std::shared_ptr<Object> Use(jobject reference, Object::Kind kind);
  std::shared_ptr<Object> Use(jobject reference);
  Reference& Find(jobject reference);

  template <class Type>
  Type NewLocal(std::shared_ptr<Object> object) {
    SharedState().counts.localReferences += 1;
    return reinterpret_cast<Type>(NewReference(std::move(object), m_environment->attachment));
  }

  static jobject NewReference(std::shared_ptr<Object> object, unsigned long attachment);

 private:
  std::unique_lock<std::mutex> m_lock;
  Environment* m_environment;
  std::string m_text;
  Effect m_effect;
};

// Method ids point into this table.
extern const MethodEntry kSendCommand;
extern const MethodEntry kHeartBeat;
extern const MethodEntry kRuntimeInfo;
extern const MethodEntry kApply;

inline constexpr const char* kReceiverClass = "com/ferrolink/core/receiver/Receiver";
inline constexpr const char* kByteArrayClass = "[B";
inline constexpr const char* kCallbackClass = "fake/Callback";

/// The name of the object's class, as FindClass takes it.
const char* ClassOf(const Object& object);

/// The function tables that all environments and all JVMs share.
const JNINativeInterface_* NativeInterface();
const JNIInvokeInterface_* InvokeInterface();

/// Fills in the slots that the fake implements, by duty.
void FillReferenceFunctions(JNINativeInterface_& table);
void FillArrayFunctions(JNINativeInterface_& table);
void FillMethodFunctions(JNINativeInterface_& table);

/// Start a JVM; attach the calling thread. The caller holds the lock.
Machine& StartMachine();
Environment& AttachCurrentThread();

/// Ends the remaining local references of an attachment; returns their number. The caller holds the
/// lock.
long EndLocalReferences(unsigned long attachment);

}  // namespace Ferrolink::Tests::FakeJvm

#endif
