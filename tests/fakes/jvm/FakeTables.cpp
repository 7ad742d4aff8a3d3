// The function tables. A slot that the fake does not implement ends the process with its name.
#include <array>
#include <cstring>

#include "tests/fakes/jvm/FakeState.h"

namespace FakeJvm {
namespace {

#define FAKE_JVM_SLOT(name)                 \
  [[noreturn]] void unimplemented##name() { \
    fatal(#name ": not implemented");       \
  }
#include "tests/fakes/jvm/FakeJvmSlots.inc"
#undef FAKE_JVM_SLOT

[[noreturn]] void unimplementedOther() {
  fatal("a slot without a name: not implemented");
}

[[noreturn]] void unimplementedAttachAsDaemon() {
  fatal("AttachCurrentThreadAsDaemon: not implemented");
}

// What the list does not name (reserved slots, functions of later JNI versions) is filled as well.
template <class Table>
void fillEverySlot(Table& table) {
  std::array<void (*)(), sizeof(Table) / sizeof(void*)> slots{};
  slots.fill(&unimplementedOther);
  std::memcpy(static_cast<void*>(&table), slots.data(), sizeof(Table));
}

template <class Function>
void fillSlot(Function& slot, void (*unimplemented)()) {
  slot = reinterpret_cast<Function>(reinterpret_cast<void*>(unimplemented));
}

std::string onMachine(const char* function, const Machine& machine) {
  return machine.number == 1 ? function
                             : std::string(function) + " on JVM " + std::to_string(machine.number);
}

jint JNICALL destroyJavaVm(JavaVM* vm) {
  auto& machine = *static_cast<Machine*>(vm);
  const std::lock_guard<std::mutex> lock(state().lock);
  record(onMachine("DestroyJavaVM", machine));
  if (currentThread().environment == nullptr) {
    fatal("DestroyJavaVM: thread is not attached");
  }
  machine.destroyed = true;
  return JNI_OK;
}

jint JNICALL attach(JavaVM* vm, void** env, void* arguments) {
  const std::lock_guard<std::mutex> lock(state().lock);
  const Effect effect = record(onMachine("AttachCurrentThread", *static_cast<Machine*>(vm)));
  if (arguments != nullptr) {
    fatal("AttachCurrentThread: called with arguments");
  }
  if (effect.result) {
    return *effect.result;
  }
  Environment& environment = attachCurrentThread();
  *env = effect.null ? nullptr : static_cast<JNIEnv*>(&environment);
  return JNI_OK;
}

jint JNICALL detach(JavaVM* vm) {
  const std::lock_guard<std::mutex> lock(state().lock);
  record(onMachine("DetachCurrentThread", *static_cast<Machine*>(vm)));
  Environment* environment = currentThread().environment;
  if (environment == nullptr) {
    fatal("DetachCurrentThread: thread is not attached");
  }
  if (environment->exceptionPending) {
    fatal("DetachCurrentThread: called with a Java exception pending");
  }
  state().counts.droppedByDetach += endLocalReferences(environment->attachment);
  environment->attachment = 0;
  currentThread().environment = nullptr;
  state().counts.attachedThreads -= 1;
  if (state().script.reuseEnvironments) {
    state().detachedEnvironments.push_back(environment);
  }
  return JNI_OK;
}

jint JNICALL getEnv(JavaVM* vm, void** env, jint version) {
  const std::lock_guard<std::mutex> lock(state().lock);
  const std::string text =
      "GetEnv(" + std::to_string(version >> 16) + "." + std::to_string(version & 0xffff) + ")";
  const Effect effect = record(onMachine(text.c_str(), *static_cast<Machine*>(vm)));
  *env = nullptr;
  if (effect.result) {
    return *effect.result;
  }
  Environment* environment = currentThread().environment;
  if (environment == nullptr) {
    return JNI_EDETACHED;
  }
  *env = effect.null ? nullptr : static_cast<JNIEnv*>(environment);
  return JNI_OK;
}

JNINativeInterface_ makeNativeInterface() {
  JNINativeInterface_ table;
  fillEverySlot(table);
#define FAKE_JVM_SLOT(name) fillSlot(table.name, &unimplemented##name);
#include "tests/fakes/jvm/FakeJvmSlots.inc"
#undef FAKE_JVM_SLOT
  fillReferenceFunctions(table);
  fillArrayFunctions(table);
  fillMethodFunctions(table);
  return table;
}

JNIInvokeInterface_ makeInvokeInterface() {
  JNIInvokeInterface_ table;
  fillEverySlot(table);
  table.DestroyJavaVM = &destroyJavaVm;
  table.AttachCurrentThread = &attach;
  table.DetachCurrentThread = &detach;
  table.GetEnv = &getEnv;
  fillSlot(table.AttachCurrentThreadAsDaemon, &unimplementedAttachAsDaemon);
  return table;
}

}  // namespace

const JNINativeInterface_* nativeInterface() {
  static const JNINativeInterface_ table = makeNativeInterface();
  return &table;
}

const JNIInvokeInterface_* invokeInterface() {
  static const JNIInvokeInterface_ table = makeInvokeInterface();
  return &table;
}

Environment& attachCurrentThread() {
  State& all = state();
  ThreadRecord& thread = currentThread();
  if (thread.environment != nullptr) {
    return *thread.environment;
  }
  Environment* environment = nullptr;
  if (all.script.reuseEnvironments && !all.detachedEnvironments.empty()) {
    environment = all.detachedEnvironments.back();
    all.detachedEnvironments.pop_back();
  } else {
    environment = &all.environments.emplace_back();
    environment->functions = nativeInterface();
  }
  environment->thread = thread.number;
  environment->attachment = ++all.lastAttachment;
  thread.environment = environment;
  all.counts.attachedThreads += 1;
  return *environment;
}

long endLocalReferences(unsigned long attachment) {
  long ended = 0;
  for (Reference& reference : state().references) {
    if (reference.live && reference.attachment == attachment) {
      reference.live = false;
      ended += 1;
    }
  }
  state().counts.localReferences -= ended;
  return ended;
}

Machine& startMachine() {
  Machine& machine = state().machines.emplace_back();
  machine.functions = invokeInterface();
  machine.number = static_cast<int>(state().machines.size());
  return machine;
}

}  // namespace FakeJvm
