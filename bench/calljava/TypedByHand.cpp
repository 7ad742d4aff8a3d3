#include <stdexcept>

#include "bench/calljava/Typed.h"

namespace Ferrolink::Bench {

double SumOfMany(const std::vector<double>& numbers) {
  double sum = 0;
  for (std::size_t i = 0; i < numbers.size(); i += 128) {
    sum += numbers[i];
  }
  return sum;
}

const std::vector<double>& ManyNumbers() {
  static const std::vector<double> numbers = [] {
    std::vector<double> made(kManyNumbers);
    for (std::size_t i = 0; i < made.size(); ++i) {
      made[i] = static_cast<double>(i);
    }
    return made;
  }();
  return numbers;
}

void RequireResult(bool holds) {
  if (!holds) [[unlikely]] {
    throw std::runtime_error("a result is wrong");
  }
}

TypedByHand::TypedByHand(JNIEnv* env) : m_env(env) {}

void TypedByHand::Check() const {
  if (m_env->ExceptionCheck() != JNI_FALSE) [[unlikely]] {
    m_env->ExceptionDescribe();
    throw std::runtime_error("an exception in Java");
  }
}

jclass TypedByHand::ClassOf(const char* name) const {
  jclass local = m_env->FindClass(name);
  Check();
  auto* global = static_cast<jclass>(m_env->NewGlobalRef(local));
  m_env->DeleteLocalRef(local);
  return global;
}

jobject TypedByHand::Text(const std::string& text) const {
  jstring local = m_env->NewStringUTF(text.c_str());
  Check();
  jobject global = m_env->NewGlobalRef(local);
  m_env->DeleteLocalRef(local);
  return global;
}

Way TypedByHand::Of(const std::string& work) const {
  if (work == "length") {
    return Length();
  }
  if (work == "max") {
    return Max();
  }
  if (work == "concat") {
    return Concat();
  }
  if (work == "new") {
    return New();
  }
  return work == "in" ? In() : Out();
}

Way TypedByHand::Length() const {
  jmethodID length = m_env->GetMethodID(ClassOf("java/lang/String"), "length", "()I");
  return [self = *this, length, text = Text(kFirstText)] {
    const jint result = self.m_env->CallIntMethod(text, length);
    self.Check();
    RequireResult(result == 24);
  };
}

Way TypedByHand::Max() const {
  jclass math = ClassOf("java/lang/Math");
  jmethodID max = m_env->GetStaticMethodID(math, "max", "(II)I");
  return [self = *this, math, max] {
    const jint result = self.m_env->CallStaticIntMethod(math, max, 3, 4);
    self.Check();
    RequireResult(result == 4);
  };
}

Way TypedByHand::Concat() const {
  jmethodID concat = m_env->GetMethodID(ClassOf("java/lang/String"), "concat",
                                        "(Ljava/lang/String;)Ljava/lang/String;");
  return [self = *this, concat, text = Text(kFirstText)] {
    JNIEnv* env = self.m_env;
    jstring more = env->NewStringUTF(kSecondText.c_str());
    self.Check();
    auto joined = static_cast<jstring>(env->CallObjectMethod(text, concat, more));
    self.Check();
    const char* characters = env->GetStringUTFChars(joined, nullptr);
    self.Check();
    const std::string result = characters;
    env->ReleaseStringUTFChars(joined, characters);
    env->DeleteLocalRef(joined);
    env->DeleteLocalRef(more);
    RequireResult(result.size() == kFirstText.size() + kSecondText.size());
  };
}

Way TypedByHand::New() const {
  jclass list = ClassOf("java/util/ArrayList");
  jmethodID constructor = m_env->GetMethodID(list, "<init>", "()V");
  return [self = *this, list, constructor] {
    jobject local = self.m_env->NewObject(list, constructor);
    self.Check();
    jobject kept = self.m_env->NewGlobalRef(local);
    self.m_env->DeleteLocalRef(local);
    RequireResult(kept != nullptr);
    self.m_env->DeleteGlobalRef(kept);
  };
}

Way TypedByHand::In() const {
  jclass numbers = ClassOf("com/ferrolink/bench/Numbers");
  jmethodID sum = m_env->GetStaticMethodID(numbers, "sum", "([D)D");
  Check();
  return [self = *this, numbers, sum] {
    JNIEnv* env = self.m_env;
    jdoubleArray array = env->NewDoubleArray(static_cast<jsize>(kManyNumbers));
    self.Check();
    env->SetDoubleArrayRegion(array, 0, static_cast<jsize>(kManyNumbers), ManyNumbers().data());
    const jdouble result = env->CallStaticDoubleMethod(numbers, sum, array);
    self.Check();
    env->DeleteLocalRef(array);
    RequireResult(result > 0);
  };
}

Way TypedByHand::Out() const {
  jclass numbers = ClassOf("com/ferrolink/bench/Numbers");
  jmethodID many = m_env->GetStaticMethodID(numbers, "many", "()[D");
  Check();
  return [self = *this, numbers, many] {
    JNIEnv* env = self.m_env;
    auto array = static_cast<jdoubleArray>(env->CallStaticObjectMethod(numbers, many));
    self.Check();
    std::vector<double> result(static_cast<std::size_t>(env->GetArrayLength(array)));
    env->GetDoubleArrayRegion(array, 0, static_cast<jsize>(result.size()), result.data());
    env->DeleteLocalRef(array);
    RequireResult(result.size() == kManyNumbers && result[128] == 128);
  };
}

}  // namespace Ferrolink::Bench
