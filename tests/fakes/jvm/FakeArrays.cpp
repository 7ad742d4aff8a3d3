// Byte arrays.
#include <algorithm>

#include "tests/fakes/jvm/FakeFaults.h"
#include "tests/fakes/jvm/FakeState.h"

namespace FakeJvm {
namespace {

using Kind = Object::Kind;
using WhilePending = EnvironmentCall::WhilePending;

jbyteArray JNICALL newByteArray(JNIEnv* env, jsize length) {
  EnvironmentCall call(env, "NewByteArray(" + std::to_string(length) + ")");
  if (const auto& inside = insideNewByteArray()) {
    call.unlock();
    inside();
    call.relock();
  }
  if (call.null()) {
    return nullptr;
  }
  if (length < 0) {
    call.environment().exceptionPending = true;
    return nullptr;
  }
  auto object = std::make_shared<Object>();
  object->kind = Kind::ByteArray;
  object->bytes.resize(static_cast<std::size_t>(length));
  return call.newLocal<jbyteArray>(std::move(object));
}

jsize JNICALL getArrayLength(JNIEnv* env, jarray array) {
  EnvironmentCall call(env, "GetArrayLength");
  auto object = call.use(array, Kind::ByteArray);
  return call.effect().result.value_or(static_cast<jsize>(object->bytes.size()));
}

// Whether the region lies inside the array; otherwise the call leaves an exception pending.
bool isInside(EnvironmentCall& call, const Object& object, jsize start, jsize length) {
  const auto size = static_cast<jsize>(object.bytes.size());
  const bool inside = start >= 0 && length >= 0 && start <= size - length;
  if (!inside) {
    call.environment().exceptionPending = true;
  }
  return inside;
}

std::string region(const char* function, jsize start, jsize length) {
  return std::string(function) + "(" + std::to_string(start) + ", " + std::to_string(length) + ")";
}

void JNICALL setByteArrayRegion(JNIEnv* env, jbyteArray array, jsize start, jsize length,
                                const jbyte* bytes) {
  EnvironmentCall call(env, region("SetByteArrayRegion", start, length));
  auto object = call.use(array, Kind::ByteArray);
  if (isInside(call, *object, start, length)) {
    std::copy_n(bytes, length, object->bytes.begin() + start);
  }
}

void JNICALL getByteArrayRegion(JNIEnv* env, jbyteArray array, jsize start, jsize length,
                                jbyte* bytes) {
  EnvironmentCall call(env, region("GetByteArrayRegion", start, length));
  auto object = call.use(array, Kind::ByteArray);
  if (isInside(call, *object, start, length)) {
    std::copy_n(object->bytes.begin() + start, length, bytes);
  }
}

jbyte* JNICALL getByteArrayElements(JNIEnv* env, jbyteArray array, jboolean* isCopy) {
  EnvironmentCall call(env, "GetByteArrayElements");
  auto object = call.use(array, Kind::ByteArray);
  if (call.null()) {
    return nullptr;
  }
  if (isCopy != nullptr) {
    *isCopy = JNI_TRUE;
  }
  auto* elements = new jbyte[object->bytes.size()];
  std::copy(object->bytes.begin(), object->bytes.end(), elements);
  state().elements[elements] = object.get();
  state().counts.elements += 1;
  return elements;
}

const char* modeName(jint mode) {
  if (mode == JNI_ABORT) {
    return "abort";
  }
  return mode == JNI_COMMIT ? "commit" : "copy back";
}

void JNICALL releaseByteArrayElements(JNIEnv* env, jbyteArray array, jbyte* elements, jint mode) {
  EnvironmentCall call(env, std::string("ReleaseByteArrayElements(") + modeName(mode) + ")",
                       WhilePending::Allowed);
  auto object = call.use(array, Kind::ByteArray);
  const auto found = state().elements.find(elements);
  if (found == state().elements.end() || found->second != object.get()) {
    fatal("ReleaseByteArrayElements: not elements of this array");
  }
  if (mode != JNI_ABORT) {
    std::copy_n(elements, object->bytes.size(), object->bytes.begin());
  }
  if (mode != JNI_COMMIT) {
    state().elements.erase(found);
    state().counts.elements -= 1;
    delete[] elements;
  }
}

}  // namespace

void fillArrayFunctions(JNINativeInterface_& table) {
  table.NewByteArray = &newByteArray;
  table.GetArrayLength = &getArrayLength;
  table.SetByteArrayRegion = &setByteArrayRegion;
  table.GetByteArrayRegion = &getByteArrayRegion;
  table.GetByteArrayElements = &getByteArrayElements;
  table.ReleaseByteArrayElements = &releaseByteArrayElements;
}

}  // namespace FakeJvm
