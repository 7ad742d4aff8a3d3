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

/// The functions of the JNI that typed calls need, by their places in its table, which the JNI
/// fixes for all JVMs. Repeated here so that a host needs no JDK to compile.
namespace Ferrolink::Objects::detail::Jni {

inline constexpr int kVersion8 = 0x00010008;
inline constexpr std::size_t kFindClass = 6;
inline constexpr std::size_t kExceptionClear = 17;
inline constexpr std::size_t kDeleteLocalRef = 23;
inline constexpr std::size_t kGetStaticMethodId = 113;
inline constexpr std::size_t kCallStaticVoidMethodA = 143;
inline constexpr std::size_t kGetBooleanArrayRegion = 199;
inline constexpr std::size_t kSetBooleanArrayRegion = 207;
inline constexpr std::size_t kRegisterNatives = 215;
inline constexpr std::size_t kExceptionCheck = 228;

using Reference = void*;
struct Environment {
  void* const* functions;

  template <class Result, class... Parameters>
  Result Call(std::size_t place, Parameters... parameters) {
    using Function = Result(Environment*, Parameters...);
    return reinterpret_cast<Function*>(functions[place])(this, parameters...);
  }
};

union Value {
  std::int64_t longValue;
  double doubleValue;
};

struct NativeMethod {
  const char* name;
  const char* signature;
  void* function;
};

/// How far behind the function for boolean[] the one for these elements stands.
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

/// Lets the broker copy large arrays between the heap and the memory of this process. The key is
/// random and known to the process alone: addresses in a command are worth nothing without it.
class NativeMemory {
 public:
  /// 0 if the broker cannot do so, because no JVM with the broker's classes runs here. Asks once.
  static std::uint64_t Key() noexcept {
    static const std::uint64_t key = Enable();
    return key;
  }

 private:
  using Environment = Jni::Environment;
  using Reference = Jni::Reference;

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

  static std::uint64_t RandomKey() {
    std::random_device source;
    std::uint64_t key = 0;
    while (key == 0) {
      key = (static_cast<std::uint64_t>(source()) << 32U) | source();
    }
    return key;
  }

  // Not if an exception is pending: that is the caller's, and nothing may be called then.
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

  // Java has compared type and bounds with the array's.
  static void CopyIn(Environment* environment, Reference /*type*/, Reference array,
                     std::int32_t element, std::int32_t first, std::int32_t count,
                     std::int64_t address) {
    environment->Call<void>(Jni::kSetBooleanArrayRegion + Jni::PlaceOf(static_cast<Tag>(element)),
                            array, first, count, reinterpret_cast<const void*>(address));
  }
  static void CopyOut(Environment* environment, Reference /*type*/, Reference array,
                      std::int32_t element, std::int32_t first, std::int32_t count,
                      std::int64_t address) {
    environment->Call<void>(Jni::kGetBooleanArrayRegion + Jni::PlaceOf(static_cast<Tag>(element)),
                            array, first, count, reinterpret_cast<void*>(address));
  }
};

}  // namespace Ferrolink::Objects::detail

#endif
