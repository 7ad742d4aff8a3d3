// Methods: the Java receiver's static ones and the callback's apply.
#include <cstdarg>
#include <cstring>

#include "tests/fakes/jvm/FakeState.h"

namespace FakeJvm {
namespace {

using Kind = Object::Kind;

jmethodID idOf(const MethodEntry& method) {
  return reinterpret_cast<jmethodID>(const_cast<MethodEntry*>(&method));
}

const MethodEntry* findMethod(const char* name, const char* signature,
                              std::initializer_list<const MethodEntry*> candidates) {
  for (const MethodEntry* candidate : candidates) {
    if (std::strcmp(candidate->name, name) == 0 &&
        std::strcmp(candidate->signature, signature) == 0) {
      return candidate;
    }
  }
  return nullptr;
}

jmethodID lookUp(const char* function, JNIEnv* env, jclass type, const char* name,
                 const char* signature, const char* owner,
                 std::initializer_list<const MethodEntry*> candidates) {
  EnvironmentCall call(env, std::string(function) + "(" + name + ", " + signature + ")");
  const auto asked = call.use(type, Kind::Class);
  if (call.null()) {
    return nullptr;
  }
  const MethodEntry* method =
      asked->text == owner ? findMethod(name, signature, candidates) : nullptr;
  if (method == nullptr) {
    call.environment().exceptionPending = true;
    return nullptr;
  }
  return idOf(*method);
}

jmethodID JNICALL getStaticMethodId(JNIEnv* env, jclass type, const char* name,
                                    const char* signature) {
  return lookUp("GetStaticMethodID", env, type, name, signature, kReceiverClass,
                {&kSendCommand, &kHeartBeat, &kRuntimeInfo});
}

jmethodID JNICALL getMethodId(JNIEnv* env, jclass type, const char* name, const char* signature) {
  return lookUp("GetMethodID", env, type, name, signature, kCallbackClass, {&kApply});
}

const MethodEntry& methodOf(const char* function, jmethodID method) {
  if (method == nullptr) {
    fatal(std::string(function) + ": null method");
  }
  return *reinterpret_cast<const MethodEntry*>(method);
}

// The test's part of a method; the fake's lock is open while it runs. As native code that Java has
// called it has a frame of local references to itself.
void runInside(EnvironmentCall& call, const std::function<void()>& inside) {
  if (inside) {
    call.environment().frame += 1;
    call.unlock();
    inside();
    call.relock();
    call.environment().frame -= 1;
  }
}

jobject answerBytes(EnvironmentCall& call, const Method& method, const Object& command) {
  runInside(call, state().script.insideJava);
  auto response = std::make_shared<Object>();
  response->kind = Kind::ByteArray;
  switch (method.answer) {
    case Answer::Throw:
      call.environment().exceptionPending = true;
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
  return call.newLocal<jobject>(std::move(response));
}

jobject answerRuntimeInfo(EnvironmentCall& call) {
  const Script& script = state().script;
  runInside(call, script.insideRuntimeInfo);
  if (script.runtimeInfo == Answer::Throw) {
    call.environment().exceptionPending = true;
    return nullptr;
  }
  if (script.runtimeInfo == Answer::Null) {
    return nullptr;
  }
  auto text = std::make_shared<Object>();
  text->kind = Kind::String;
  text->text = script.runtimeInfoText;
  return call.newLocal<jobject>(std::move(text));
}

jobject JNICALL callStaticObjectMethodV(JNIEnv* env, jclass type, jmethodID methodId,
                                        va_list arguments) {
  const MethodEntry& method = methodOf("CallStaticObjectMethodV", methodId);
  EnvironmentCall call(env, std::string("CallStaticObjectMethodV(") + method.name + ")");
  call.use(type, Kind::Class);
  if (call.null()) {
    return nullptr;
  }
  if (&method == &kRuntimeInfo) {
    return answerRuntimeInfo(call);
  }
  const auto command = call.use(va_arg(arguments, jobject), Kind::ByteArray);
  const Script& script = state().script;
  return answerBytes(call, &method == &kHeartBeat ? script.heartBeat : script.sendCommand,
                     *command);
}

jobject JNICALL callObjectMethodV(JNIEnv* env, jobject object, jmethodID methodId,
                                  va_list arguments) {
  const MethodEntry& method = methodOf("CallObjectMethodV", methodId);
  EnvironmentCall call(env, std::string("CallObjectMethodV(") + method.name + ")");
  call.use(object, Kind::Callback);
  if (call.null()) {
    return nullptr;
  }
  const auto command = call.use(va_arg(arguments, jobject), Kind::ByteArray);
  return answerBytes(call, state().script.apply, *command);
}

}  // namespace

void fillMethodFunctions(JNINativeInterface_& table) {
  table.GetStaticMethodID = &getStaticMethodId;
  table.GetMethodID = &getMethodId;
  table.CallStaticObjectMethodV = &callStaticObjectMethodV;
  table.CallObjectMethodV = &callObjectMethodV;
}

}  // namespace FakeJvm
