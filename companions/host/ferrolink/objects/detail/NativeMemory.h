#ifndef FERROLINK_HOST_OBJECTS_DETAIL_NATIVEMEMORY_H
#define FERROLINK_HOST_OBJECTS_DETAIL_NATIVEMEMORY_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <random>

#include "ferrolink/ThreadAttachment.h"
#include "ferrolink/detail/JvmLibrary.h"
#include "ferrolink/objects/detail/Keeper.h"
#include "ferrolink/objects/detail/Wire.h"

/// The JNI functions that typed calls need, by their index in the JNI function table. The JNI
/// specification fixes the indexes for all JVMs. They are repeated here so that a host compiles
/// without a JDK.
namespace Ferrolink::Objects::detail::Jni {

/// JNI_VERSION_1_8.
inline constexpr int kVersion8 = 0x00010008;
/// jclass FindClass(const char*).
inline constexpr std::size_t kFindClass = 6;
/// void ExceptionClear().
inline constexpr std::size_t kExceptionClear = 17;
/// void DeleteLocalRef(jobject).
inline constexpr std::size_t kDeleteLocalRef = 23;
/// jmethodID GetStaticMethodID(jclass, const char*, const char*).
inline constexpr std::size_t kGetStaticMethodId = 113;
/// void CallStaticVoidMethodA(jclass, jmethodID, const jvalue*).
inline constexpr std::size_t kCallStaticVoidMethodA = 143;
/// The first of eight functions that copy elements out of a Java array; see PlaceOf.
inline constexpr std::size_t kGetBooleanArrayRegion = 199;
/// The first of eight functions that copy elements into a Java array; see PlaceOf.
inline constexpr std::size_t kSetBooleanArrayRegion = 207;
/// jint RegisterNatives(jclass, const JNINativeMethod*, jint).
inline constexpr std::size_t kRegisterNatives = 215;
/// jboolean ExceptionCheck().
inline constexpr std::size_t kExceptionCheck = 228;

/// A local reference, a method identifier or null.
using Reference = void*;
/// A JNIEnv. Valid on its own thread only.
/// @code
/// const bool isPending = environment.Call<std::uint8_t>(kExceptionCheck) != 0;
/// @endcode
struct Environment {
  /// The function table, owned by the JVM.
  void* const* functions;

  /// Calls the function at the index `place`. The types must be exactly those of jni.h: nothing
  /// checks them, and there is no integer promotion.
  template <class Result, class... Parameters>
  Result Call(std::size_t place, Parameters... parameters) {
    using Function = Result(Environment*, Parameters...);
    return reinterpret_cast<Function*>(functions[place])(this, parameters...);
  }
};

/// A jvalue, of which only the widest members are needed.
union Value {
  /// A jlong.
  std::int64_t longValue;
  /// A jdouble.
  double doubleValue;
};

/// A JNINativeMethod.
struct NativeMethod {
  /// The method's name in Java.
  const char* name;
  /// The method's descriptor.
  const char* signature;
  /// The native implementation.
  void* function;
};

/// The distance in the table from a function for boolean[] to the one for this element type.
constexpr std::size_t PlaceOf(Tag element) {
  switch (element) {
    case Tag::Byte:
      return 1;
    case Tag::Char:
      return 2;
    case Tag::Short:
      return 3;
    case Tag::Int:
      return 4;
    case Tag::Long:
      return 5;
    case Tag::Float:
      return 6;
    case Tag::Double:
      return 7;
    default:
      return 0;
  }
}

}  // namespace Ferrolink::Objects::detail::Jni

namespace Ferrolink::Objects::detail {

/// Lets Java copy large arrays between its heap and the memory of this process, without a copy
/// inside the command.
///
/// Safety: a command contains an address and a key. The key is random and does not leave the
/// process, so another process cannot make Java read or write memory.
/// @code
/// if (const std::uint64_t key = NativeMemory::Key(); key != 0) {
///   request.Out().AppendNumber(reinterpret_cast<std::uint64_t>(elements.data()));
///   request.Out().AppendNumber(key);
/// }
/// @endcode
class NativeMemory {
 public:
  /// The key, chosen at the first call. 0 if Java cannot access the memory of this process, because
  /// no JVM with the broker's classes runs in it. Thread-safe.
  static std::uint64_t Key() noexcept {
    static const std::uint64_t key = Enable();
    return key;
  }

 private:
  using Environment = Jni::Environment;
  using Reference = Jni::Reference;

  // Attaches the thread if need be. All failures mean 0: arrays then travel inside the commands.
  static std::uint64_t Enable() noexcept {
    try {
      KeepThisCodeMapped();
      const Host::ThreadAttachment attachment;
      void* environment = nullptr;
      Host::detail::JavaVm* vm = Host::detail::FindJvmLibrary().vm;
      if (vm == nullptr || vm->functions->GetEnv(vm, &environment, Jni::kVersion8) != 0) {
        return 0;
      }
      const std::uint64_t key = RandomKey();
      return Register(*static_cast<Environment*>(environment), key) ? key : 0;
    } catch (const std::exception&) {
      return 0;
    }
  }

  // 0 means no key.
  static std::uint64_t RandomKey() {
    std::random_device source;
    std::uint64_t key = 0;
    while (key == 0) {
      key = (static_cast<std::uint64_t>(source()) << 32U) | source();
    }
    return key;
  }

  // Fails if an exception is pending. The exception belongs to the caller of this code, and the JNI
  // allows almost no call until it is cleared.
  static bool Register(Environment& environment, std::uint64_t key) {
    if (environment.Call<std::uint8_t>(Jni::kExceptionCheck) != 0) {
      return false;
    }
    auto* type = environment.Call<Reference>(
        Jni::kFindClass, static_cast<const char*>("com/ferrolink/core/objects/NativeMemory"));
    const bool enabled = type != nullptr && EnableIn(environment, type, key);
    if (environment.Call<std::uint8_t>(Jni::kExceptionCheck) != 0) {
      environment.Call<void>(Jni::kExceptionClear);
    }
    if (type != nullptr) {
      environment.Call<void>(Jni::kDeleteLocalRef, type);
    }
    return enabled;
  }

  // Gives Java the two functions first and then the key, so that a key always works.
  static bool EnableIn(Environment& environment, Reference type, std::uint64_t key) {
    static constexpr const char* kSignature = "(Ljava/lang/Object;IIIJ)V";
    const Jni::NativeMethod methods[] = {
        {"copyIn", kSignature, reinterpret_cast<void*>(&CopyIn)},
        {"copyOut", kSignature, reinterpret_cast<void*>(&CopyOut)}};
    if (environment.Call<std::int32_t>(Jni::kRegisterNatives, type, &methods[0], std::int32_t{2}) !=
        0) {
      return false;
    }
    auto* enable = environment.Call<Reference>(Jni::kGetStaticMethodId, type,
                                               static_cast<const char*>("enable"),
                                               static_cast<const char*>("(J)V"));
    if (enable == nullptr) {
      return false;
    }
    Jni::Value argument{};
    argument.longValue = static_cast<std::int64_t>(key);
    environment.Call<void>(Jni::kCallStaticVoidMethodA, type, enable,
                           static_cast<const Jni::Value*>(&argument));
    return environment.Call<std::uint8_t>(Jni::kExceptionCheck) == 0;
  }

  // Native methods of the Java class NativeMemory. Java has checked the element type and the
  // bounds.
  static void CopyIn(Environment* environment, Reference /*type*/, Reference array,
                     std::int32_t element, std::int32_t first, std::int32_t count,
                     std::int64_t address) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): Java has addresses as numbers
    const auto* from = reinterpret_cast<const void*>(address);
    environment->Call<void>(Jni::kSetBooleanArrayRegion + Jni::PlaceOf(static_cast<Tag>(element)),
                            array, first, count, from);
  }
  static void CopyOut(Environment* environment, Reference /*type*/, Reference array,
                      std::int32_t element, std::int32_t first, std::int32_t count,
                      std::int64_t address) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): Java has addresses as numbers
    auto* to = reinterpret_cast<void*>(address);
    environment->Call<void>(Jni::kGetBooleanArrayRegion + Jni::PlaceOf(static_cast<Tag>(element)),
                            array, first, count, to);
  }
};

}  // namespace Ferrolink::Objects::detail

#endif
