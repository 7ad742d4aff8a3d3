// Methods: the Java receiver's static ones and the callback's apply.
#include <cstdarg>
#include <cstring>

#include "tests/fakes/jvm/FakeState.h"

namespace Ferrolink::Tests::FakeJvm {
namespace {

using Kind = Object::Kind;

jmethodID IdOf(const MethodEntry& method) {
  return reinterpret_cast<jmethodID>(const_cast<MethodEntry*>(&method));
}

const MethodEntry* FindMethod(const char* name, const char* signature,
                              std::initializer_list<const MethodEntry*> candidates) {
  for (const MethodEntry* candidate : candidates) {
    if (std::strcmp(candidate->name, name) == 0 &&
        std::strcmp(candidate->signature, signature) == 0) {
      return candidate;
    }
  }
  return nullptr;
}

jmethodID LookUp(const char* function, JNIEnv* env, jclass type, const char* name,
                 const char* signature, const char* owner,
                 std::initializer_list<const MethodEntry*> candidates) {
  EnvironmentCall call(env, std::string(function) + "(" + name + ", " + signature + ")");
  const auto asked = call.Use(type, Kind::Class);
  if (call.Null()) {
    return nullptr;
  }
  const MethodEntry* method =
      asked->text == owner ? FindMethod(name, signature, candidates) : nullptr;
  if (method == nullptr) {
    call.GetEnvironment().exceptionPending = true;
    return nullptr;
  }
  return IdOf(*method);
}

jmethodID JNICALL GetStaticMethodId(JNIEnv* env, jclass type, const char* name,
                                    const char* signature) {
  return LookUp("GetStaticMethodID", env, type, name, signature, kReceiverClass,
                {&kSendCommand, &kHeartBeat, &kRuntimeInfo});
}

jmethodID JNICALL GetMethodId(JNIEnv* env, jclass type, const char* name, const char* signature) {
  return LookUp("GetMethodID", env, type, name, signature, kCallbackClass, {&kApply});
}

const MethodEntry& MethodOf(const char* function, jmethodID method) {
  if (method == nullptr) {
    Fatal(std::string(function) + ": null method");
  }
  return *reinterpret_cast<const MethodEntry*>(method);
}

// The test's part of a method; the fake's lock is open while it runs. As native code that Java has
// called it has a frame of local references to itself.
void RunInside(EnvironmentCall& call, const std::function<void()>& inside) {
  if (inside) {
    call.GetEnvironment().frame += 1;
    call.unlock();
    inside();
    call.Relock();
    call.GetEnvironment().frame -= 1;
  }
}

jobject AnswerBytes(EnvironmentCall& call, const Method& method, const Object& command) {
  RunInside(call, SharedState().script.insideJava);
  auto response = std::make_shared<Object>();
  response->kind = Kind::ByteArray;
  switch (method.answer) {
    case Answer::Throw:
      call.GetEnvironment().exceptionPending = true;
      return nullptr;
    case Answer::Null:
      return nullptr;
    case Answer::Text:
      response->kind = Kind::String;
      break;
    case Answer::Bytes:
      response->bytes.assign(method.bytes.begin(), method.bytes.end());
      break;
    case Answer::Echo:
      response->bytes = command.bytes;
      break;
  }
  return call.NewLocal<jobject>(std::move(response));
}

jobject AnswerRuntimeInfo(EnvironmentCall& call) {
  const Script& script = SharedState().script;
  RunInside(call, script.insideRuntimeInfo);
  if (script.runtimeInfo == Answer::Throw) {
    call.GetEnvironment().exceptionPending = true;
    return nullptr;
  }
  if (script.runtimeInfo == Answer::Null) {
    return nullptr;
  }
  auto text = std::make_shared<Object>();
  text->kind = Kind::String;
  text->text = script.runtimeInfoText;
  return call.NewLocal<jobject>(std::move(text));
}

jobject JNICALL CallStaticObjectMethodV(JNIEnv* env, jclass type, jmethodID methodId,
                                        va_list arguments) {
  const MethodEntry& method = MethodOf("CallStaticObjectMethodV", methodId);
  EnvironmentCall call(env, std::string("CallStaticObjectMethodV(") + method.name + ")");
  call.Use(type, Kind::Class);
  if (call.Null()) {
    return nullptr;
  }
  if (&method == &kRuntimeInfo) {
    return AnswerRuntimeInfo(call);
  }
  const auto command = call.Use(va_arg(arguments, jobject), Kind::ByteArray);
  const Script& script = SharedState().script;
  return AnswerBytes(call, &method == &kHeartBeat ? script.heartBeat : script.sendCommand,
                     *command);
}

jobject JNICALL CallObjectMethodV(JNIEnv* env, jobject object, jmethodID methodId,
                                  va_list arguments) {
  const MethodEntry& method = MethodOf("CallObjectMethodV", methodId);
  EnvironmentCall call(env, std::string("CallObjectMethodV(") + method.name + ")");
  call.Use(object, Kind::Callback);
  if (call.Null()) {
    return nullptr;
  }
  const auto command = call.Use(va_arg(arguments, jobject), Kind::ByteArray);
  return AnswerBytes(call, SharedState().script.apply, *command);
}

}  // namespace

void FillMethodFunctions(JNINativeInterface_& table) {
  table.GetStaticMethodID = &GetStaticMethodId;
  table.GetMethodID = &GetMethodId;
  table.CallStaticObjectMethodV = &CallStaticObjectMethodV;
  table.CallObjectMethodV = &CallObjectMethodV;
}

}  // namespace Ferrolink::Tests::FakeJvm
