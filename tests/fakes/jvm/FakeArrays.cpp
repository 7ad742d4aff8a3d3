// Byte arrays.
#include <algorithm>

#include "tests/fakes/jvm/FakeFaults.h"
#include "tests/fakes/jvm/FakeState.h"

namespace Ferrolink::Tests::FakeJvm {
namespace {

using Kind = Object::Kind;
using WhilePending = EnvironmentCall::WhilePending;

jbyteArray JNICALL NewByteArray(JNIEnv* env, jsize length) {
  EnvironmentCall call(env, "NewByteArray(" + std::to_string(length) + ")");
  if (const auto& inside = InsideNewByteArray()) {
    call.unlock();
    inside();
    call.Relock();
  }
  if (call.Null()) {
    return nullptr;
  }
  if (length < 0) {
    call.GetEnvironment().exceptionPending = true;
    return nullptr;
  }
  auto object = std::make_shared<Object>();
  object->kind = Kind::ByteArray;
  object->bytes.resize(static_cast<std::size_t>(length));
  return call.NewLocal<jbyteArray>(std::move(object));
}

jsize JNICALL GetArrayLength(JNIEnv* env, jarray array) {
  EnvironmentCall call(env, "GetArrayLength");
  auto object = call.Use(array, Kind::ByteArray);
  return call.GetEffect().result.value_or(static_cast<jsize>(object->bytes.size()));
}

// Whether the region lies inside the array; otherwise the call leaves an exception pending.
bool IsInside(EnvironmentCall& call, const Object& object, jsize start, jsize length) {
  const auto size = static_cast<jsize>(object.bytes.size());
  const bool inside = start >= 0 && length >= 0 && start <= size - length;
  if (!inside) {
    call.GetEnvironment().exceptionPending = true;
  }
  return inside;
}

std::string Region(const char* function, jsize start, jsize length) {
  return std::string(function) + "(" + std::to_string(start) + ", " + std::to_string(length) + ")";
}

void JNICALL SetByteArrayRegion(JNIEnv* env, jbyteArray array, jsize start, jsize length,
                                const jbyte* bytes) {
  EnvironmentCall call(env, Region("SetByteArrayRegion", start, length));
  auto object = call.Use(array, Kind::ByteArray);
  if (IsInside(call, *object, start, length)) {
    std::copy_n(bytes, length, object->bytes.begin() + start);
  }
}

void JNICALL GetByteArrayRegion(JNIEnv* env, jbyteArray array, jsize start, jsize length,
                                jbyte* bytes) {
  EnvironmentCall call(env, Region("GetByteArrayRegion", start, length));
  auto object = call.Use(array, Kind::ByteArray);
  if (IsInside(call, *object, start, length)) {
    std::copy_n(object->bytes.begin() + start, length, bytes);
  }
}

jbyte* JNICALL GetByteArrayElements(JNIEnv* env, jbyteArray array, jboolean* isCopy) {
  EnvironmentCall call(env, "GetByteArrayElements");
  auto object = call.Use(array, Kind::ByteArray);
  if (call.Null()) {
    return nullptr;
  }
  if (isCopy != nullptr) {
    *isCopy = JNI_TRUE;
  }
  auto* elements = new jbyte[object->bytes.size()];
  std::copy(object->bytes.begin(), object->bytes.end(), elements);
  SharedState().elements[elements] = object.get();
  SharedState().counts.elements += 1;
  return elements;
}

const char* ModeName(jint mode) {
  if (mode == JNI_ABORT) {
    return "abort";
  }
  return mode == JNI_COMMIT ? "commit" : "copy back";
}

void JNICALL ReleaseByteArrayElements(JNIEnv* env, jbyteArray array, jbyte* elements, jint mode) {
  EnvironmentCall call(env, std::string("ReleaseByteArrayElements(") + ModeName(mode) + ")",
                       WhilePending::Allowed);
  auto object = call.Use(array, Kind::ByteArray);
  const auto found = SharedState().elements.find(elements);
  if (found == SharedState().elements.end() || found->second != object.get()) {
    Fatal("ReleaseByteArrayElements: not elements of this array");
  }
  if (mode != JNI_ABORT) {
    std::copy_n(elements, object->bytes.size(), object->bytes.begin());
  }
  if (mode != JNI_COMMIT) {
    SharedState().elements.erase(found);
    SharedState().counts.elements -= 1;
    delete[] elements;
  }
}

}  // namespace

void FillArrayFunctions(JNINativeInterface_& table) {
  table.NewByteArray = &NewByteArray;
  table.GetArrayLength = &GetArrayLength;
  table.SetByteArrayRegion = &SetByteArrayRegion;
  table.GetByteArrayRegion = &GetByteArrayRegion;
  table.GetByteArrayElements = &GetByteArrayElements;
  table.ReleaseByteArrayElements = &ReleaseByteArrayElements;
}

}  // namespace Ferrolink::Tests::FakeJvm
