// The function tables. A slot that the fake does not implement ends the process with its name.
#include <array>
#include <cstring>

#include "tests/fakes/jvm/FakeState.h"

namespace Ferrolink::Tests::FakeJvm {
namespace {

#define FAKE_JVM_SLOT(name)                 \
  [[noreturn]] void unimplemented##name() { \
    Fatal(#name ": not implemented");       \
  }
#include "tests/fakes/jvm/FakeJvmSlots.inc"
#undef FAKE_JVM_SLOT

[[noreturn]] void UnimplementedOther() {
  Fatal("a slot without a name: not implemented");
}

[[noreturn]] void UnimplementedAttachAsDaemon() {
  Fatal("AttachCurrentThreadAsDaemon: not implemented");
}

// What the list does not name (reserved slots, functions of later JNI versions) is filled as well.
template <class Table>
void FillEverySlot(Table& table) {
  std::array<void (*)(), sizeof(Table) / sizeof(void*)> slots{};
  slots.fill(&UnimplementedOther);
  std::memcpy(static_cast<void*>(&table), slots.data(), sizeof(Table));
}

template <class Function>
void fillSlot(Function& slot, void (*unimplemented)()) {
  slot = reinterpret_cast<Function>(reinterpret_cast<void*>(unimplemented));
}

std::string OnMachine(const char* function, const Machine& machine) {
  return machine.number == 1 ? function
                             : std::string(function) + " on JVM " + std::to_string(machine.number);
}

jint JNICALL DestroyJavaVm(JavaVM* vm) {
  auto& machine = *static_cast<Machine*>(vm);
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  Record(OnMachine("DestroyJavaVM", machine));
  if (CurrentThread().environment == nullptr) {
    Fatal("DestroyJavaVM: thread is not attached");
  }
  machine.destroyed = true;
  return JNI_OK;
}

jint JNICALL Attach(JavaVM* vm, void** env, void* arguments) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  const Effect effect = Record(OnMachine("AttachCurrentThread", *static_cast<Machine*>(vm)));
  if (arguments != nullptr) {
    Fatal("AttachCurrentThread: called with arguments");
  }
  if (effect.result) {
    return *effect.result;
  }
  Environment& environment = AttachCurrentThread();
  *env = effect.null ? nullptr : static_cast<JNIEnv*>(&environment);
  return JNI_OK;
}

jint JNICALL Detach(JavaVM* vm) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  Record(OnMachine("DetachCurrentThread", *static_cast<Machine*>(vm)));
  Environment* environment = CurrentThread().environment;
  if (environment == nullptr) {
    Fatal("DetachCurrentThread: thread is not attached");
  }
  if (environment->exceptionPending) {
    Fatal("DetachCurrentThread: called with a Java exception pending");
  }
  SharedState().counts.droppedByDetach += EndLocalReferences(environment->attachment);
  environment->attachment = 0;
  CurrentThread().environment = nullptr;
  SharedState().counts.attachedThreads -= 1;
  if (SharedState().script.reuseEnvironments) {
    SharedState().detachedEnvironments.push_back(environment);
  }
  return JNI_OK;
}

jint JNICALL GetEnv(JavaVM* vm, void** env, jint version) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  const std::string text =
      "GetEnv(" + std::to_string(version >> 16) + "." + std::to_string(version & 0xffff) + ")";
  const Effect effect = Record(OnMachine(text.c_str(), *static_cast<Machine*>(vm)));
  *env = nullptr;
  if (effect.result) {
    return *effect.result;
  }
  Environment* environment = CurrentThread().environment;
  if (environment == nullptr) {
    return JNI_EDETACHED;
  }
  *env = effect.null ? nullptr : static_cast<JNIEnv*>(environment);
  return JNI_OK;
}

JNINativeInterface_ MakeNativeInterface() {
  JNINativeInterface_ table;
  FillEverySlot(table);
#define FAKE_JVM_SLOT(name) fillSlot(table.name, &unimplemented##name);
#include "tests/fakes/jvm/FakeJvmSlots.inc"
#undef FAKE_JVM_SLOT
  FillReferenceFunctions(table);
  FillArrayFunctions(table);
  FillMethodFunctions(table);
  return table;
}

JNIInvokeInterface_ MakeInvokeInterface() {
  JNIInvokeInterface_ table;
  FillEverySlot(table);
  table.DestroyJavaVM = &DestroyJavaVm;
  table.AttachCurrentThread = &Attach;
  table.DetachCurrentThread = &Detach;
  table.GetEnv = &GetEnv;
  fillSlot(table.AttachCurrentThreadAsDaemon, &UnimplementedAttachAsDaemon);
  return table;
}

}  // namespace

const JNINativeInterface_* NativeInterface() {
  static const JNINativeInterface_ table = MakeNativeInterface();
  return &table;
}

const JNIInvokeInterface_* InvokeInterface() {
  static const JNIInvokeInterface_ table = MakeInvokeInterface();
  return &table;
}

Environment& AttachCurrentThread() {
  State& all = SharedState();
  ThreadRecord& thread = CurrentThread();
  if (thread.environment != nullptr) {
    return *thread.environment;
  }
  Environment* environment = nullptr;
  if (all.script.reuseEnvironments && !all.detachedEnvironments.empty()) {
    environment = all.detachedEnvironments.back();
    all.detachedEnvironments.pop_back();
  } else {
    environment = &all.environments.emplace_back();
    environment->functions = NativeInterface();
  }
  environment->thread = thread.number;
  environment->attachment = ++all.lastAttachment;
  thread.environment = environment;
  all.counts.attachedThreads += 1;
  return *environment;
}

long EndLocalReferences(unsigned long attachment) {
  long ended = 0;
  for (Reference& reference : SharedState().references) {
    if (reference.live && reference.attachment == attachment) {
      reference.live = false;
      ended += 1;
    }
  }
  SharedState().counts.localReferences -= ended;
  return ended;
}

Machine& StartMachine() {
  Machine& machine = SharedState().machines.emplace_back();
  machine.functions = InvokeInterface();
  machine.number = static_cast<int>(SharedState().machines.size());
  return machine;
}

}  // namespace Ferrolink::Tests::FakeJvm
